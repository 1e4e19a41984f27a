import vormel

repo = vormel.Dravik.kvr.SignalRepository()
run = repo.createEmptyRun("Monday", 1)
speed = vormel.timeseries([4.5, 7.0, 9.5], [0.0, 0.1, 0.2])
origin = ("bus", "clock", "bus.speed")  # root, time and data source
block = ("car/engine", "car", "speed")  # block path, model and label
number = repo.add(None, run, *origin, speed, *block, [], [], [], [], "", None, [], "bus.speed")
signal = repo.getSignal(number)
print(repo.getRunName(run), signal["SignalLabel"], signal["DataValues"].Data, signal["LineColor"])
try:
    repo.getSignal(7)
except vormel.Error as error:
    print(error.function, error.identifier, error)
