#include "serve/request_guard.h"

#include <random>

namespace svodb_tool {
namespace {

bool IsOwnHost(const std::string& host, int32_t port) {
  const std::string suffix = ":" + std::to_string(port);
  return host == "127.0.0.1" + suffix || host == "localhost" + suffix;
}

// Compares without stopping at the first difference, so that the time a
// refusal takes does not tell how much of a guess was right.
bool SameToken(const std::string& given, const std::string& token) {
  if (given.size() != token.size()) return false;
  unsigned char difference = 0;
  for (std::size_t i = 0; i < token.size(); ++i) {
    difference |= static_cast<unsigned char>(given[i] ^ token[i]);
  }
  return difference == 0;
}

}  // namespace

std::string NewToken() {
  std::random_device device;
  static constexpr char kDigits[] = "0123456789abcdef";
  std::string token;
  for (int i = 0; i < 32; ++i) token += kDigits[device() % 16];
  return token;
}

int RefusalStatus(const RequestFacts& request, int32_t port, const std::string& token) {
  if (!IsOwnHost(request.host, port)) return 403;
  if (!request.origin.empty() &&
      !IsOwnHost(request.origin.rfind("http://", 0) == 0 ? request.origin.substr(7) : "", port)) {
    return 403;
  }
  if (token.empty() || !SameToken(request.token, token)) return 401;
  return 0;
}

}  // namespace svodb_tool
