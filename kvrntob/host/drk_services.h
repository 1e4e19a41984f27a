// Host library drk_services: from a message to a host exception.
#pragma once

#include "kvrntob/host/export.h"
#include "kvrntob/host/hf_i18n.h"

// A message with its text made out, on its way into an exception. Opaque.
struct drsvDiagnosticImpl;

// Returns a new diagnostic for the message, filled-in string included. The caller owns it until it
// hands it to drsvThrowIExceptionFromDiagnostic. The message need not outlive the call.
VORMEL_HOST_API drsvDiagnosticImpl* drsvCreateDiagnosticFromMessageID(
    const hf::i18n::BaseMsgID& message);

// Throws an exception derived from Quenrath::System::IException that carries the message and the
// name of the function. Takes over the diagnostic and sets the caller's pointer to null.
// `functionName` may be null; it is copied. Never returns.
[[noreturn]] VORMEL_HOST_API void drsvThrowIExceptionFromDiagnostic(drsvDiagnosticImpl*& diagnostic,
                                                                    const char* functionName);
