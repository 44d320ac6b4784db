// Exports that report what this library is and turn codes into text.
#include <span>

#include "api/global_state.h"
#include "api/guard.h"
#include "api/text_copy.h"
#include "catalog/parameter_database.h"
#include "catalog/result_codes.h"
#include "svodb/svodb.h"

extern "C" {

SVODB_API void SVODB_CALL DLLCompileTime_SVODB(char* text) {
  if (text == nullptr) return;
  // The standard build-date and build-time texts: "Mmm dd yyyy hh:mm:ss".
  svodb::api::CopyText(__DATE__ " " __TIME__, text);
}

SVODB_API void SVODB_CALL ErrorMessage_SVODB(int32_t code, char* message) {
  if (message == nullptr) return;
  svodb::api::GuardedVoid([&] {
    svodb::ComposeErrorMessage(svodb::api::Context().db.catalogue, code,
                               std::span<char>(message, SVODB_MESSAGE_SIZE));
  });
}

}  // extern "C"
