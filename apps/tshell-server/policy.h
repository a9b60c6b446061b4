// Who may use the server, decided once for every request before its body is read: the
// Host it was addressed to (against DNS rebinding), the page it comes from (Origin, against
// cross-site writes), the bearer token, and the media type of what it sends.
//
// A page on any site can make the engineer's browser send requests to the server; it
// cannot choose the Host name the browser resolved nor hide its own Origin, and it cannot
// send a JSON body or an Authorization header without the browser first asking the server
// (a preflight), which is refused here unless the origin was allowed.
#ifndef TSHELL_SERVER_POLICY_H
#define TSHELL_SERVER_POLICY_H

#include <string>
#include <string_view>
#include <utility>
#include <vector>

namespace tshell_server {

struct PolicyOptions {
  std::string token;                      // empty: no token needed
  std::vector<std::string> allowOrigins;  // "http://lab-pc:3000": pages allowed to call
  std::vector<std::string> allowHosts;    // extra names the server may be addressed by
  std::string listenHost;                 // the --listen address
};

// What a route takes: the media types of a body it accepts (none: the route takes no body).
// anyType: a body of any type, which the route tells apart by its content itself; only for
// methods a page cannot send to another site without a preflight (PUT).
struct RouteRule {
  std::vector<std::string> bodyTypes;
  bool anyType = false;
};

// The parts of a request head the policy looks at.
struct RequestHead {
  std::string_view method;
  std::string_view path;
  std::string_view host;           // Host header ("" when absent)
  std::string_view origin;         // Origin header ("" when absent)
  std::string_view authorization;  // Authorization header
  std::string_view contentType;    // Content-Type header
  bool hasBody = false;            // a body follows (length > 0, or chunked)
  bool hasOrigin = false;
};

// status 0: go on. Otherwise the answer to give instead.
struct Verdict {
  int status = 0;
  std::string error;
  std::vector<std::pair<std::string, std::string>> headers;
};

class RequestPolicy {
 public:
  explicit RequestPolicy(PolicyOptions options);

  // Host, Origin and token; a preflight (OPTIONS) is answered here too.
  Verdict admit(const RequestHead &head) const;
  // The body's media type against what the route takes (415).
  Verdict acceptBody(const RequestHead &head, const RouteRule &rule) const;
  // Headers every answer to this request carries: CORS grants for an allowed origin.
  std::vector<std::pair<std::string, std::string>> answerHeaders(const RequestHead &head) const;

  bool hostAllowed(std::string_view host) const;

 private:
  bool originAllowed(std::string_view origin) const;

  PolicyOptions options_;
  bool listenLoopback_ = true;
  bool listenWildcard_ = false;
};

// True for an IPv4 or IPv6 address text in the loopback range.
bool isLoopbackAddress(std::string_view address);

}  // namespace tshell_server

#endif  // TSHELL_SERVER_POLICY_H
