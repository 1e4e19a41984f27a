#include "kvrntob/base/failure.h"

#include "kvrntob/host/drk_services.h"
#include "kvrntob/host/v_dispatcher.h"

namespace kvr {

void raiseFromMessage(const hf::i18n::BaseMsgID& message) {
  drsvDiagnosticImpl* diagnostic = drsvCreateDiagnosticFromMessageID(message);
  const Vfh_Vormel_fn* scope = Vdispatcher::pDMain->GetCurrentlyExecutingFunctionScope();
  const char* functionName =
      scope != nullptr ? scope->dispatcher().get_hfuncname(scope->handle()) : nullptr;
  drsvThrowIExceptionFromDiagnostic(diagnostic, functionName);
}

}  // namespace kvr
