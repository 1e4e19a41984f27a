#include "kvrntob/typedmap/map_methods.h"

#include <memory>
#include <typeinfo>

#include "kvrntob/base/failure.h"
#include "kvrntob/base/method_rows.h"
#include "kvrntob/host/libvr.h"
#include "kvrntob/typedmap/map_object.h"

using kvr::raiseFromMessage;
using ntob::ArgumentCell;

// ---- A call, and the object behind its handle ----

// The native side of a map instance. Keeps the object alive as long as it lives itself, whatever
// the body sets off.
class MapInstance {
 public:
  // Fails as the host does when the object is gone. The host lets no call through whose handle is
  // no map; should one come all the same, std::bad_cast.
  explicit MapInstance(const vrArray* handle) : object_(tbGetArrayElement(handle, 0)) {
    if (!object_) throw std::bad_cast();
    ntob::TOBNameID className;
    object_->getClass()->getClassNameID(className);
    native_ = static_cast<DataMapWrapper*>(object_->getNativeInstance(className));
  }

  // Where the instance keeps its map. Fails with TOBOutOfMemoryException if there was no memory for
  // the native object.
  std::unique_ptr<AbstractVrWrapperDataMap>& place() const {
    if (native_ == nullptr) throw ntob::TOBOutOfMemoryException();
    return native_->wrapper;
  }

  // The map. Fails with TOBOutOfMemoryException if there was no memory for it.
  AbstractVrWrapperDataMap* operator->() const {
    const auto& wrapper = place();
    if (wrapper == nullptr) throw ntob::TOBOutOfMemoryException();
    return wrapper.get();
  }

 private:
  ntob::TOBInterfacePtr object_;
  DataMapWrapper* native_;
};

// What a body is given of the arguments of execute.
struct MapCall {
  std::int32_t* outputCount;
  ArgumentCell* outputs;
  const ArgumentCell* inputs;

  // Every body but the constructor's begins here.
  MapInstance map() const { return MapInstance(inputs[0].array); }

  const vrArray* key() const { return inputs[1].array; }
  const vrArray* value() const { return inputs[2].array; }

  // The index of the second input, which counts from 1, counted from 0. Wraps around.
  std::int32_t index() const {
    return static_cast<std::int32_t>(static_cast<std::uint32_t>(inputs[1].int32Value) - 1U);
  }

  // A call that asks for no output gets one.
  void askForAtLeastOne() const {
    if (*outputCount == 0) *outputCount = 1;
  }
};

// ---- Descriptors ----

using namespace kvr::rows;
#define METHOD(family, Class, name, inputs, outputs, ...)                                        \
  Class::Class() : signature(makeSignature(inputs, outputs)) {}                                  \
  void Class::execute(void*, std::int32_t* outputCount, ArgumentCell* outputCells, std::int32_t, \
                      ArgumentCell* inputCells) {                                                \
    run(MapCall{outputCount, outputCells, inputCells});                                          \
  }
#include "kvrntob/typedmap/map_methods.def"

template <class Method>
static void add(ntob::TOBClass* cls) {
  cls->addMethod(new Method);
}

void addMapMethods(ntob::TOBClass* cls) {
#define METHOD(family, Class, ...) add<Class>(cls);
#include "kvrntob/typedmap/map_methods.def"
}

// ---- Bodies. The instance is found first; then the outputs asked for are looked at. ----

void DataMapConstructor::run(const MapCall& call) {
  const MapInstance instance(call.outputs[0].array);  // the host has made the object already
  const vrArray* key = call.inputs[0].array;
  const vrArray* value = call.inputs[1].array;
  if (vrIsEmpty(key)) raiseFromMessage(KVR::kvr::EMPTY_KEY());
  if (!vrIsScalar(key)) raiseFromMessage(KVR::kvr::ARRAY_KEYS_NOT_ALLOWED());
  const int keyClass = vrGetClassID(key);
  if (vrIsEmpty(value)) raiseFromMessage(KVR::kvr::KEY_NEEDS_VALUE());
  const int valueClass = vrIsScalar(value) ? vrGetClassID(value) : vrUNKNOWN_CLASS;
  std::unique_ptr<AbstractVrWrapperDataMap> map(makeWrapperForKeyClass(keyClass, valueClass));
  instance.place().reset(map.release());
}

void DataMapPut::run(const MapCall& call) { call.map()->put(call.key(), call.value()); }

// The two that read data do nothing when more than one output is asked for.

void DataMapGetDataByID::run(const MapCall& call) {
  const MapInstance map = call.map();
  call.askForAtLeastOne();
  if (*call.outputCount > 1) return;
  call.outputs[0].array = map->getDataByID(call.key());
}

void DataMapGetDataByIndex::run(const MapCall& call) {
  const MapInstance map = call.map();
  call.askForAtLeastOne();
  if (*call.outputCount > 1) return;
  call.outputs[0].array = map->getDataByIndex(call.index());
}

void DataMapDeleteDataByID::run(const MapCall& call) { call.map()->deleteDataByID(call.key()); }

void DataMapDeleteDataByIndex::run(const MapCall& call) {
  call.map()->deleteDataByIndex(call.index());
}

void DataMapGetCount::run(const MapCall& call) {
  const MapInstance map = call.map();
  call.askForAtLeastOne();
  call.outputs[0].word = map->getCount();
}

void DataMapIsKey::run(const MapCall& call) {
  const MapInstance map = call.map();
  call.askForAtLeastOne();
  call.outputs[0].word = map->isKey(call.key()) ? 1 : 0;
}

void DataMapGetIDByIndex::run(const MapCall& call) {
  const MapInstance map = call.map();
  call.askForAtLeastOne();
  call.outputs[0].array = map->getIDByIndex(call.index());
}

void DataMapGetIndexByID::run(const MapCall& call) {
  const MapInstance map = call.map();
  call.askForAtLeastOne();
  const auto index = static_cast<std::uint32_t>(map->getIndexByID(call.key()));
  call.outputs[0].word = static_cast<std::int32_t>(index + 1U);
}

void DataMapGetKeyType::run(const MapCall& call) {
  const MapInstance map = call.map();
  call.askForAtLeastOne();
  call.outputs[0].array = vrCreateString(map->getKeyType());
}

void DataMapGetValueType::run(const MapCall& call) {
  const MapInstance map = call.map();
  call.askForAtLeastOne();
  call.outputs[0].array = vrCreateString(map->getValueType());
}

void DataMapClear::run(const MapCall& call) { call.map()->clear(); }
