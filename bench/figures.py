"""The figures and their limits: which benchmarks each figure relates, and its upper limit."""

from dataclasses import dataclass

PROGRAMS = (
    "typedmap_bench",
    "store_bench",
    "binding_bench",
    "scratch_bench",
    "compare_bench",
    "recording_bench",
)
# What the names of the cases of a Python program begin with, and its file.
PYTHON = "python:"
KVR = "kvr:"
FILES = "files:"
CAMPAIGN = "campaign:"
THINNING = "thinning:"
VIEW = "view:"
PYTHON_PROGRAMS = {
    PYTHON: "python_face_bench.py",
    KVR: "compare_python_bench.py",
    FILES: "files_bench.py",
    CAMPAIGN: "campaign_bench.py",
    THINNING: "thinning_bench.py",
    VIEW: "view_bench.py",
}


@dataclass(frozen=True)
class Row:
    """One figure. The kind of relation says how the times of the benchmarks become a value."""

    operation: str
    at: str
    limit: float
    kind: str  # ratio, growth, more or value
    program: str
    names: tuple
    unit: str = "x"
    rounds: int = 0  # 0: as many as the others
    repetitions: int = 0  # of a round; 0: as many as the others, 1 with rounds of its own
    together: tuple = ()  # all benchmarks of the process, where several figures come from it

    def value(self, sample):
        numbers = [sample[name] for name in self.names]
        if self.kind == "growth":
            return max(numbers[1:]) / numbers[0]
        if self.kind == "ratio":
            return numbers[0] / numbers[1]
        if self.kind == "more":
            return numbers[0] - numbers[1]
        return numbers[0]

    @property
    def figure(self):
        if self.kind == "growth":
            return "the cost at the smallest size"
        if self.kind == "value":
            return ""
        return ("more than " if self.kind == "more" else "") + self.names[1].split("#")[0]


def ratio(operation, at, limit, program, ours, peer, **more):
    return Row(operation, at, limit, "ratio", program, (ours, peer), **more)


def growth(operation, at, limit, program, *names, **more):
    return Row(operation, at, limit, "growth", program, names, **more)


def extra(operation, at, limit, program, ours, peer):
    return Row(operation, at, limit, "more", program, (ours, peer), "ns")


def value(operation, at, limit, program, name, unit="ns", **more):
    return Row(operation, at, limit, "value", program, (name,), unit, **more)


def map_rows():
    def against_plain(operation, keys, name, sizes, limit):
        for label, size in sizes:
            ours, plain = (f"{name[0]}/{keys}/{name[1]}/{who}/{size}" for who in ("ours", "plain"))
            yield ratio(operation, label, limit, "typedmap_bench", ours, plain)

    small, middle = ("1e3", 1000), ("1e5", 100_000)
    new, overwrite = ("map_put", "new"), ("map_put", "overwrite")
    yield from against_plain("map put new, numbers", "number_keys", new, (small, middle), 0.95)
    yield from against_plain("map put new, strings", "string_keys", new, (middle,), 0.85)
    yield from against_plain(
        "map overwrite, numbers", "number_keys", overwrite, (small, middle), 0.65
    )
    yield from against_plain(
        "map overwrite, strings", "string_keys", overwrite, (small, middle), 0.6
    )
    index = ("map_lookup", "index")
    yield from against_plain("map index by key, numbers", "number_keys", index, (middle,), 0.7)
    yield from against_plain("map index by key, strings", "string_keys", index, (middle,), 0.7)
    by_key = "map_lookup/number_keys/by_key/"
    yield ratio("map look-up by key, numbers", "1e5", 1.0, "typedmap_bench",
                by_key + "ours/100000", by_key + "tsl/100000")  # fmt: skip
    back = "map_delete/number_keys/back/ours/"
    yield growth("map delete last", "1e3 to 1e6", 1.5, "typedmap_bench",
                 *(back + size for size in ("1000", "100000", "1000000")), rounds=3)  # fmt: skip
    yield from against_plain(
        "map delete last", "number_keys", ("map_delete", "back"), (middle,), 0.001
    )
    yield from against_plain("map delete middle, numbers", "number_keys", ("map_delete", "middle"),
                             (middle,), 0.5)  # fmt: skip
    for method in ("getDataByKey", "getCount"):
        for label, size in (small, middle):
            name = f"map_execute/{method}"
            yield extra(f"{method} over the container", label, 40, "typedmap_bench",
                        f"{name}/{size}", f"{name}/container/{size}")  # fmt: skip


def store_rows(full):
    def sized(name, size):
        return f"{name}/{size}"

    store = "store_bench"
    for peer, limit in (("plain", 0.72), ("floor", 1.15)):
        for label, size in (("1e4", 10_000), ("1e5", 100_000)):
            yield ratio("addSignal in memory", label, limit, store,
                        sized("store_add/signal", size), sized(f"store_add/{peer}", size))  # fmt: skip
    yield growth("addSignal, per signal", "1e4 to 1e6", 2.8, store, "store_add/signal/10000",
                 "store_add/signal/1000000", rounds=0 if full else 2)  # fmt: skip
    yield value("memory of a signal", "1e5", 2200, store, "store_memory/signal/100000", "B")
    yield value("record copy by id", "1e5", 1000, store, "store_lookup/by_id/100000")
    yield ratio("record copy by id", "1e5", 0.25, store,
                "store_lookup/by_id/100000", "store_lookup/sqlite/100000")  # fmt: skip
    yield ratio("getSignal through execute", "1e5", 2, "binding_bench",
                "binding_call/get_signal", "binding_call/plain_values")  # fmt: skip
    yield growth("removal of a run, per signal", "1e4 to 1e5", 1.5, store,
                 "store_remove/run/10000", "store_remove/run/100000")  # fmt: skip
    yield growth("removal of an instance, per run", "1e4 to 1e5", 1.5, store,
                 "store_remove/instance/10000", "store_remove/instance/100000")  # fmt: skip
    count_and_id = "store_groups/count_and_id/"
    yield growth("count and id of a group", "1e3 to 1e5", 1.5, store,
                 *(count_and_id + size for size in ("1000", "10000", "100000")))  # fmt: skip
    yield value("count and id of a group", "1e5", 500, store, count_and_id + "100000")
    yield ratio("names of a column, one call", "1e4", 0.06, store,
                "store_groups/all_names/10000", "store_groups/full_sort/10000")  # fmt: skip
    yield ratio("copy of a run of 1e5 doubles", "100 signals", 1.2, store,
                "store_copy/run/100", "store_copy/memcpy/100")  # fmt: skip


def scratch_rows():
    program = "scratch_bench"
    few, many = (
        [f"scratch_{way}/ours/{count}" for way in ("put", "get")] for count in (10, 100_000)
    )
    for way, ours_few, ours_many in zip(("put", "get"), few, many):
        yield ratio(f"scratch {way}, 1e3 doubles", "10 variables", 1.15, program,
                    ours_few, f"scratch_{way}/bare/10", repetitions=10)  # fmt: skip
        # The large file takes long to make: once for both.
        yield growth(f"scratch {way}", "10 to 1e5", 1.3, program, ours_few, ours_many,
                     rounds=1, repetitions=10, together=(*few, *many))  # fmt: skip
    for way in ("put", "get"):
        yield ratio(f"scratch {way}", "1e6 doubles", 1.3, program,
                    f"scratch_{way}/large/ours/1000000",
                    f"scratch_{way}/large/bare/1000000", repetitions=10)  # fmt: skip


def python_rows():
    def case(name):
        return PYTHON + name

    for operation, at, name, limit in (
        ("Python: method without arguments", "", "no_argument", 0.6),
        ("Python: map get", "", "map_get", 1.2),
        ("Python: getSignal", "1e5", "get_signal", 12),
    ):
        yield ratio(operation, at, limit, "", case(name), case("bare"))
    yield value("Python: failing look-up", "", 2000, "", case("failing_lookup"))
    yield extra("Python: add", "1e3 samples", 1500, "binding_bench",
                case("add_1000"), "binding_call/add_1000")  # fmt: skip


def compare_rows():
    program = "compare_bench"
    yield ratio("compare, equal times", "1e7", 1.4, program,
                "compare/equal_times/10000000", "compare/read_once/10000000")  # fmt: skip
    for case in ("equal_times", "union_linear", "union_zoh"):
        sizes = ("10000", "100000", "1000000", "10000000")
        yield growth(f"compare, {case}", "1e4 to 1e7", 1.5, program,
                     *(f"compare/{case}/{size}" for size in sizes))  # fmt: skip
    for case, plain in (("time_tolerance", "noisy"), ("time_tolerance_zoh", "noisy_zoh")):
        for window in (16, 1024, 2_000_000):
            yield ratio(f"compare, {case}", f"1e6, {window} samples", 6, program,
                        f"compare/{case}/1000000/{window}", f"compare/{plain}/1000000")  # fmt: skip


def compare_python_rows():
    """Beside NumPy, in memory, and from Python."""
    program = "compare_bench"
    for case, limit in (
        ("union_linear", 1 / 25),
        ("union_zoh", 1 / 35),
        ("intersection", 1 / 10),
        ("uniform", 1 / 10),
    ):
        yield ratio(f"compare, {case}, over NumPy", "1e7", limit, program,
                    f"compare/{case}/10000000", KVR + case)  # fmt: skip
    for case in ("union_linear", "intersection", "uniform"):
        yield value(f"compare, {case}, memory", "1e7", 1e6, program,
                    f"compare/{case}/10000000#peak_bytes", "B")  # fmt: skip
    yield ratio("kvr.compare, 2 threads", "1e3 signals", 1 / 1.8, "",
                KVR + "threads_2", KVR + "threads_1")  # fmt: skip
    yield value("kvr.compare, a pair", "1e4 of 100", 15_000, "", KVR + "pairs")
    yield ratio("kvr compare of CSV, over pandas", "100 x 1e5", 1.25, "",
                KVR + "csv_compare", KVR + "csv_pandas")  # fmt: skip
    yield ratio("kvr --help, over python3", "", 3, "", KVR + "help", KVR + "python")


def recording_rows():
    def case(name):
        name, hash_, counter = name.partition("#")
        return f"recording/{name}/real_time{hash_}{counter}"

    program = "recording_bench"
    for way in ("save", "load"):
        yield ratio(f"recording, {way}", "1,000 x 1e5", 1.5, program,
                    case(f"{way}/1000"), case(f"{way}/plain"))  # fmt: skip
    yield value("recording, size", "1,000 x 1e5", 102, program, case("load/1000#percent"), "%")
    yield value("recording, save, a signal", "1e5 x 100", 30_000, program, case("save_many"))
    yield value("recording, open and list", "1e5 signals", 3e8, program, case("list"))
    yield ratio("CSV read, over pandas", "100 x 1e5", 1.15, "",
                FILES + "csv_kvr", FILES + "csv_pandas")  # fmt: skip
    yield growth("recording, open, read one signal", "10 to 1e4 signals", 1.5, program,
                 case("read_one/10"), case("read_one/1000"), case("read_one/10000"))  # fmt: skip
    yield ratio("recording, read one signal", "1e5 of 1,000 x 1e5", 1.5, program,
                case("read_signal/1000"), case("read_signal/plain"))  # fmt: skip
    for way in ("save", "load"):
        yield ratio(f"kvr {way}, over h5py", "1e4 x 1,000", 1 / 3, "",
                    f"{FILES}{way}_kvr", f"{FILES}{way}_h5py")  # fmt: skip
    yield ratio("kvr.compare of recordings, over reading", "200 x 1e5", 1.3, "",
                FILES + "compare_recordings", FILES + "read_recordings")  # fmt: skip


def thinning_rows():
    def case(name):
        return THINNING + name

    yield ratio("thinning, build, over NumPy's one pass", "1e7", 3, "",
                case("build"), case("one_pass"))  # fmt: skip
    yield ratio("thinning, window, over reading it", "1e7, 1,000 columns", 25, "",
                case("window"), case("read_kept"))  # fmt: skip
    yield value("thinning, window again", "1e7, 1,000 columns", 2e6, "", case("window_warm"))


def campaign_rows(full):
    """Clock time: other load on the machine shows. The quick form has fewer pairs."""

    def case(name):
        return CAMPAIGN + name

    pairs = 100_000 if full else 10_000
    at = f"{pairs:.0e} pairs".replace("e+0", "e")
    yield ratio("campaign, 2 processes", "of 20 ms", 1 / 1.8, "",
                case("pairs_2"), case("pairs_1"), rounds=1)  # fmt: skip
    yield ratio("campaign of one pair, 2 processes", "1e4 signals", 1 / 1.7, "",
                case("pair_2"), case("pair_1"), rounds=1)  # fmt: skip
    yield ratio("campaign of one pair, 2 workers there", "1e4 signals", 1 / 1.7, "",
                case("pair_cluster_2"), case("pair_cluster_1"), rounds=1)  # fmt: skip
    for where in ("pool", "cluster"):
        yield value(f"campaign, {where}, beyond comparing", "of 5 ms", 1e6, "",
                    case(f"beyond_{where}"), rounds=1)  # fmt: skip
    yield value("campaign, memory of the caller", at, 2e8, "",
                case("tiny_memory"), "B", rounds=1)  # fmt: skip
    yield value("campaign, started again", at, 5e4 * pairs, "", case("again"), rounds=1)


def view_rows():
    """The limits are the times that a window may wait for; the processor time is above them."""
    for operation, at, limit, name in (
        ("inspector, judge all pairs again", "1,000 x 1e4", 5e8, "judge_again"),
        ("inspector, judge one pair again", "of 1,000 x 1e4", 2e8, "judge_one"),
        ("inspector, window of a signal", "1e7, 1,500 columns", 5e7, "window"),
        ("inspector, curves", "20 x 1e6, 1,500 columns", 2e8, "curves"),
        ("inspector, state", "1e4 signals", 5e8, "state"),
        ("inspector, show signals", "1e4 signals", 5e8, "show"),
    ):
        yield value(operation, at, limit, "", VIEW + name)


def rows(full):
    return [
        *map_rows(), *store_rows(full), *scratch_rows(), *python_rows(), *compare_rows(),
        *compare_python_rows(),
        *recording_rows(), *thinning_rows(), *view_rows(), *campaign_rows(full),
    ]  # fmt: skip
