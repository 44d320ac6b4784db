// What inner operations work on: the parameter database, the register map
// and the transport. Only the exported wrappers know the process-wide
// instances; everything below them takes a context.
#pragma once

namespace svodb {

struct ParameterDatabase;
class RegisterMap;
class Transport;
class Platform;

struct LibraryContext {
  ParameterDatabase& db;
  RegisterMap& registers;
  Transport& transport;
  Platform& platform;
};

}  // namespace svodb
