// Steps that the calls of the C++ face share. Private to this folder.
#pragma once

#include "embedded_host/interpreter/interpreter.h"

namespace vormel {

// The first method of the name. Throws CallRefused("NoSuchMethod") if there is none, and for the
// constructor, which is called by construct() alone.
const MethodRecord& requireMethod(ClassRecord& cls, std::string_view name);

// Sets the inputs from position `first` on.
void fillInputs(CallFrame& call, std::size_t first, Arguments inputs);

}  // namespace vormel
