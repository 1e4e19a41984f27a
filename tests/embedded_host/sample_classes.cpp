#include "tests/embedded_host/sample_classes.h"

#include <stdexcept>
#include <utility>

#include "embedded_host/arrays/arrays.h"
#include "kvrntob/host/drk_services.h"
#include "kvrntob/host/libqnKVR_res.h"
#include "kvrntob/host/libvr.h"
#include "kvrntob/host/v_dispatcher.h"
#include "kvrntob/host/v_interpreter.h"

namespace sample {

Log& log() {
  static Log log;
  return log;
}

namespace {

using ntob::ArgumentCell;
using ntob::TOBNameID;

// The native object of a Box.
struct Native {
  std::int32_t number = 0;
  std::vector<vormel::OwnedArray> kept;
};

struct Call {
  void* context;
  std::int32_t* outputCount;
  ArgumentCell* outputs;
  std::int32_t inputCount;
  ArgumentCell* inputs;

  ntob::TOBInterfacePtr object() const { return tbGetArrayElement(inputs[0].array, 0); }
  Native& native() const { return *nativeOf(inputs[0].array); }
  static Native* nativeOf(const vrArray* handle) {
    const ntob::TOBInterfacePtr object = tbGetArrayElement(handle, 0);
    TOBNameID name;
    object->getClass()->getClassNameID(name);
    return static_cast<Native*>(object->getNativeInstance(name));
  }
};

using Body = void (*)(const Call&);

struct Row {
  const char* name;
  std::vector<const char*> inputs;
  std::vector<const char*> outputs;
  Body body;
};

class Method final : public ntob::TOBMethodInfo {
 public:
  explicit Method(const Row& row)
      : name_(row.name),
        body_(row.body),
        signature_(ntob::TOBMethodSignature::createMethodSignature()) {
    for (const char* type : row.inputs) signature_->addInput(TOBNameID(type));
    for (const char* type : row.outputs) signature_->addOutput(TOBNameID(type));
  }
  ~Method() override { delete signature_; }
  const char* getName() const override { return name_; }
  const ntob::TOBMethodSignature* getSignature() const override { return signature_; }
  void execute(void* context, std::int32_t* outputCount, ArgumentCell* outputs,
               std::int32_t inputCount, ArgumentCell* inputs) override {
    ++log().bodies;
    body_({context, outputCount, outputs, inputCount, inputs});
  }

 private:
  const char* name_;
  Body body_;
  ntob::TOBMethodSignature* signature_;
};

// ---- Bodies ----

[[noreturn]] void raise(const hf::i18n::BaseMsgID& message) {
  drsvDiagnosticImpl* diagnostic = drsvCreateDiagnosticFromMessageID(message);
  const Vfh_Vormel_fn* scope = Vdispatcher::pDMain->GetCurrentlyExecutingFunctionScope();
  const char* name =
      scope != nullptr ? scope->dispatcher().get_hfuncname(scope->handle()) : nullptr;
  drsvThrowIExceptionFromDiagnostic(diagnostic, name);
}

// A text as first input makes construction fail.
void construct(const Call& call) {
  Native& native = *Call::nativeOf(call.outputs[0].array);
  if (vrGetClassID(call.inputs[0].array) == vrCHAR_CLASS) raise(KVR::kvr::EMPTY_KEY());
  native.number = vrGetScalarInt(call.inputs[0].array);
}

void keep(const Call& call) {
  call.native().kept.emplace_back(vrCreateSharedCopyNotOnArrayList(call.inputs[1].array));
}

void setNumber(const Call& call) { call.native().number = call.inputs[1].int32Value; }

void getNumber(const Call& call) { call.outputs[0].word = call.native().number; }

void record(const Call& call) {
  log().inputCount = call.inputCount;
  log().words.clear();
  for (std::int32_t i = 0; i < call.inputCount; ++i) log().words.push_back(call.inputs[i].word);
}

void recordText(const Call& call) { log().text = call.inputs[1].text; }

// Any input, the handle too, comes back as a shared copy of the last.
void echo(const Call& call) {
  call.outputs[0].array = vrCreateSharedDataCopy(call.inputs[call.inputCount - 1].array);
}

// Of three outputs the first stays unwritten.
void writeTwoOfThree(const Call& call) {
  *call.outputCount = 7;
  call.outputs[1].word = 1;
  call.outputs[2].word = -5;
}

void writeAsManyAsAsked(const Call& call) {
  for (int i = 0; i < *call.outputCount; ++i) call.outputs[i].array = vrCreateDoubleScalar(i);
}

void fail(const Call& call) {
  call.outputs[0].array = vrCreateDoubleScalar(1);
  vrSetArrayScope(call.outputs[0].array, 0);
  raise(KVR::kvr::NON_EXISTENT("Run ID"));
}

void exhaust(const Call&) { throw ntob::TOBOutOfMemoryException(); }

void overrun(const Call&) { throw std::out_of_range("sample"); }

void leaveArrays(const Call&) {
  vrCreateDoubleScalar(1);
  vrCreateString("left behind");
}

void callFunction(const Call& call) {
  vrArray* result = nullptr;
  ipCallFcnWithTrap(1, &result, 0, nullptr, call.inputs[1].text, 0);
  call.outputs[0].array = result;
}

void callTrapped(const Call& call) {
  vrArray* result = nullptr;
  call.outputs[0].word = ipCallFcnWithTrap(1, &result, 0, nullptr, call.inputs[1].text, 1);
}

// Ends its own object; its native instance is there until the body returns.
void endItself(const Call& call) {
  Native& native = call.native();
  call.object()->destroyInterface(call.context);
  native.number = 1;
  call.outputs[0].word = log().destroyed;
}

void nothing(const Call&) {}

const std::vector<Row>& boxMethods() {
  static const std::vector<Row> rows = {
      {"Box", {"any"}, {kBox}, construct},
      {"keep", {kBox, "any"}, {}, keep},
      {"setNumber", {kBox, "int32 scalar"}, {}, setNumber},
      {"getNumber", {kBox}, {"int32 scalar"}, getNumber},
      {"record", {kBox, "int32 scalar", "double scalar", "logical scalar", kBox}, {}, record},
      {"recordNumbers", {kBox, "int32 scalar"}, {}, record},
      {"recordText", {kBox, "string"}, {}, recordText},
      {"echo", {"any"}, {"any"}, echo},
      {"echo", {"any", "any"}, {"any"}, fail},
      {"three", {kBox}, {"any", "logical scalar", "int32 scalar"}, writeTwoOfThree},
      {"many", {kBox}, {"any"}, writeAsManyAsAsked},
      {"fail", {kBox}, {"any"}, fail},
      {"exhaust", {kBox}, {}, exhaust},
      {"overrun", {kBox}, {}, overrun},
      {"leaveArrays", {kBox}, {}, leaveArrays},
      {"callFunction", {kBox, "string"}, {"any"}, callFunction},
      {"callTrapped", {kBox, "string"}, {"int32 scalar"}, callTrapped},
      {"endItself", {kBox}, {"int32 scalar"}, endItself},
      {"free", {}, {}, nothing},
  };
  return rows;
}

// ---- Descriptors ----

class ClassInfo : public ntob::TOBClassInfo {
 public:
  explicit ClassInfo(const char* name) : name_(name) {}
  const char* getName() const override { return name_; }
  const char* getDescription() const override { return "a sample"; }
  const char* getDetailedDescription() const override { return "a sample class"; }
  void loadMethods(ntob::TOBClass*) override {}
  void* createNativeInstance() override { return nullptr; }
  void destroyNativeInstance(void*) override {}
  bool firstFlag() const override { return true; }
  bool firstNameQuery(TOBNameID) const override { return false; }
  bool secondNameQuery(TOBNameID) const override { return false; }
  bool secondFlag() const override { return true; }
  bool thirdFlag() const override { return false; }
  bool fourthFlag() const override { return false; }

 private:
  const char* name_;
};

class Box final : public ClassInfo {
 public:
  Box() : ClassInfo("Box") {}
  void loadMethods(ntob::TOBClass* cls) override {
    ++log().methodLoads;
    cls->addMethod(nullptr);
    for (const Row& row : boxMethods()) cls->addMethod(new Method(row));
  }
  void* createNativeInstance() override {
    ++log().created;
    return new Native;
  }
  void destroyNativeInstance(void* native) override {
    ++log().destroyed;
    delete static_cast<Native*>(native);
  }
};

class Exhausted final : public ClassInfo {
 public:
  Exhausted() : ClassInfo("Exhausted") {}
  void loadMethods(ntob::TOBClass* cls) override {
    cls->addMethod(new Method({"Exhausted", {}, {"Sample.tools.Exhausted"}, nothing}));
  }
};

class Partial final : public ClassInfo {
 public:
  Partial() : ClassInfo("Partial") {}
  void loadMethods(ntob::TOBClass* cls) override {
    ++log().partialLoads;
    cls->addMethod(new Method({"first", {}, {}, nothing}));
    throw ntob::TOBOutOfMemoryException();
  }
};

class Tools final : public ntob::TOBPackageInfo {
 public:
  const char* getName() const override { return "tools"; }
  void loadPackageContents(ntob::TOBPackage* contents) override {
    ++log().packageLoads;
    contents->addClass(nullptr);
    contents->addClass(new Box);
    contents->addClass(new ClassInfo("Other"));
    contents->addClass(new Exhausted);
    contents->addClass(new Partial);
  }
};

class Sample final : public ntob::TOBPackageInfo {
 public:
  const char* getName() const override { return "Sample"; }
  void loadPackageContents(ntob::TOBPackage* contents) override {
    contents->addSubPackage(nullptr);
    contents->addSubPackage(new Tools);
  }
};

}  // namespace

void registerPackages() {
  ntob::TOBPackage::addPackage(nullptr);
  ntob::TOBPackage::addPackage(new Sample);
}

}  // namespace sample
