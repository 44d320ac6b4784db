// What inner operations work on: the parameter database, the register map
// and the transport. Only the exported wrappers know the process-wide
// instances; everything below them takes a context.
#pragma once

namespace svodb {

struct ParameterDatabase;
class RegisterMap;
class Transport;
class Platform;
struct DriveFacts;

struct LibraryContext {
  ParameterDatabase& db;
  RegisterMap& registers;
  Transport& transport;
  Platform& platform;
  // The drive's facts as the running whole-set or file operation read them
  // at its start (drive/drive_facts.h); null outside such an operation.
  DriveFacts* facts = nullptr;
};

}  // namespace svodb
