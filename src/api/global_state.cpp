#include "api/global_state.h"

#include <memory>

#include "catalog/catalogue_rows.h"
#include "catalog/parameter_database.h"
#include "drive/register_map.h"
#include "drive/register_rows.h"
#include "drive/transport.h"
#include "drive/transport_library.h"
#include "feedback/gen1_writes.h"
#include "feedback/motor_data_block.h"
#include "platform/platform.h"

namespace svodb::api {
namespace {

// Built when the library is compiled (see SVODB_PROCESS_CONSTINIT: loading
// runs no code to build them) and destroyed in reverse order at exit.
// Nothing here talks to the drive, opens a file or reads the environment.
SVODB_PROCESS_CONSTINIT ParameterDatabase g_database{CatalogueRows()};
SVODB_PROCESS_CONSTINIT RegisterMap g_registers{RegisterRows()};
SVODB_PROCESS_CONSTINIT MdbFieldList g_mdbFields;
SVODB_PROCESS_CONSTINIT TrxFieldList g_trxFields;
// The bit-mode link and the generation-2 image: plain data.
SVODB_PROCESS_CONSTINIT FeedbackState g_feedback;

uint32_t g_currentNode = 0;
Transport* g_testTransport = nullptr;
Platform* g_testPlatform = nullptr;

// The transport library is loaded at the first operation that needs it.
TransportLibrary& BoundTransport() {
  static TransportLibrary library;
  return library;
}

Transport& ActiveTransport() { return g_testTransport != nullptr ? *g_testTransport : BoundTransport(); }

Platform& ActivePlatform() { return g_testPlatform != nullptr ? *g_testPlatform : SystemPlatform(); }

}  // namespace

std::recursive_mutex& LibraryMutex() noexcept {
  static std::recursive_mutex mutex;
  return mutex;
}

LibraryContext Context() { return LibraryContext{g_database, g_registers, ActiveTransport(), ActivePlatform()}; }

uint32_t& CurrentNode() { return g_currentNode; }

FeedbackContext Feedback(LibraryContext& ctx) { return FeedbackContext{ctx, g_feedback, g_mdbFields, g_trxFields}; }

TransportStatus BoundTransportStatus() { return BoundTransport().Status(); }

void UseTransportForTesting(Transport* transport) { g_testTransport = transport; }
void UsePlatformForTesting(Platform* platform) { g_testPlatform = platform; }

void ResetForTesting() {
  std::destroy_at(&g_registers);
  std::destroy_at(&g_database);
  std::construct_at(&g_database);
  std::construct_at(&g_registers);
  g_mdbFields = MdbFieldList{};
  g_trxFields = TrxFieldList{};
  g_feedback = FeedbackState{};
  g_currentNode = 0;
}

}  // namespace svodb::api
