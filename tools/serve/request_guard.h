// Who may talk to the panel's server: only pages the server itself served,
// on this machine, that know the token it printed. Another page open in the
// same browser can send requests to 127.0.0.1 too, so the address alone
// proves nothing: its Origin (or a Host it forged through DNS rebinding)
// gives it away, and it never saw the token.
#pragma once

#include <cstdint>
#include <string>

namespace svodb_tool {

// A fresh random token of 32 hexadecimal digits.
std::string NewToken();

struct RequestFacts {
  std::string host;    // the Host header
  std::string origin;  // the Origin header; empty when the browser sent none
  std::string token;   // from the X-Svodb-Token header or the token query parameter
};

// 0 when the request may go ahead; else the HTTP status that refuses it:
// 403 for a Host or Origin that is not this server's, 401 for a missing or
// wrong token.
int RefusalStatus(const RequestFacts& request, int32_t port, const std::string& token);

}  // namespace svodb_tool
