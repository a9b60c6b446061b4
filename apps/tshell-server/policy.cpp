#include "policy.h"

#include <arpa/inet.h>
#include <ifaddrs.h>
#include <netinet/in.h>

#include <algorithm>
#include <cctype>
#include <string>

namespace tshell_server {

namespace {

constexpr std::string_view kApiPrefix = "/api";

std::string lower(std::string_view text) {
  std::string out(text);
  std::transform(out.begin(), out.end(), out.begin(),
                 [](unsigned char c) { return static_cast<char>(std::tolower(c)); });
  return out;
}

bool sameText(std::string_view a, std::string_view b) {
  return a.size() == b.size() && lower(a) == lower(b);
}

std::string_view trim(std::string_view text) {
  while (!text.empty() && (text.front() == ' ' || text.front() == '\t')) text.remove_prefix(1);
  while (!text.empty() && (text.back() == ' ' || text.back() == '\t')) text.remove_suffix(1);
  return text;
}

bool isApi(std::string_view path) {
  return path == kApiPrefix || path.substr(0, kApiPrefix.size() + 1) == "/api/";
}

// The name part of a Host header: "[::1]:8080" -> "::1", "lab:8080" -> "lab".
std::string_view hostName(std::string_view host) {
  if (!host.empty() && host.front() == '[') {
    const size_t close = host.find(']');
    if (close == std::string_view::npos) return {};
    const std::string_view rest = host.substr(close + 1);
    if (!rest.empty() && rest.front() != ':') return {};
    return host.substr(1, close - 1);
  }
  const size_t colon = host.find(':');
  if (colon != std::string_view::npos && host.find(':', colon + 1) != std::string_view::npos) {
    return {};  // a bare IPv6 address: not a valid Host
  }
  return host.substr(0, colon);
}

bool parseAddress(std::string_view text, in6_addr *v6, in_addr *v4, int *family) {
  const std::string copy(text);
  if (inet_pton(AF_INET, copy.c_str(), v4) == 1) {
    *family = AF_INET;
    return true;
  }
  if (inet_pton(AF_INET6, copy.c_str(), v6) == 1) {
    *family = AF_INET6;
    return true;
  }
  return false;
}

bool isWildcard(std::string_view address) {
  in6_addr v6{};
  in_addr v4{};
  int family = 0;
  if (!parseAddress(address, &v6, &v4, &family)) return false;
  return family == AF_INET ? v4.s_addr == htonl(INADDR_ANY) : IN6_IS_ADDR_UNSPECIFIED(&v6);
}

// An address text that names one of this machine's interfaces.
bool isLocalAddress(std::string_view address) {
  in6_addr v6{};
  in_addr v4{};
  int family = 0;
  if (!parseAddress(address, &v6, &v4, &family)) return false;
  ifaddrs *list = nullptr;
  if (getifaddrs(&list) != 0) return false;
  bool found = false;
  for (const ifaddrs *a = list; a != nullptr && !found; a = a->ifa_next) {
    if (a->ifa_addr == nullptr || a->ifa_addr->sa_family != family) continue;
    if (family == AF_INET) {
      found = reinterpret_cast<const sockaddr_in *>(a->ifa_addr)->sin_addr.s_addr == v4.s_addr;
    } else {
      found =
          IN6_ARE_ADDR_EQUAL(&reinterpret_cast<const sockaddr_in6 *>(a->ifa_addr)->sin6_addr, &v6);
    }
  }
  freeifaddrs(list);
  return found;
}

// "http://Lab:3000/" -> "http://lab:3000": origins compare without case or a final slash.
std::string normalOrigin(std::string_view origin) {
  origin = trim(origin);
  while (!origin.empty() && origin.back() == '/') origin.remove_suffix(1);
  return lower(origin);
}

Verdict refuse(int status, std::string error) {
  Verdict verdict;
  verdict.status = status;
  verdict.error = std::move(error);
  return verdict;
}

// Compares in a time that depends only on the expected token's length, so that the
// answer time tells nothing about how much of a guess was right.
bool sameSecret(std::string_view given, std::string_view expected) {
  unsigned diff = given.size() == expected.size() ? 0 : 1;
  for (size_t i = 0; i < expected.size(); ++i) {
    const char c = i < given.size() ? given[i] : '\0';
    diff |= static_cast<unsigned char>(c ^ expected[i]);
  }
  return diff == 0;
}

bool authorized(std::string_view header, const std::string &token) {
  constexpr std::string_view kScheme = "bearer ";
  if (header.size() < kScheme.size() || !sameText(header.substr(0, kScheme.size()), kScheme)) {
    return false;
  }
  return sameSecret(trim(header.substr(kScheme.size())), token);
}

}  // namespace

bool isLoopbackAddress(std::string_view address) {
  in6_addr v6{};
  in_addr v4{};
  int family = 0;
  if (!parseAddress(address, &v6, &v4, &family)) return false;
  if (family == AF_INET) return (ntohl(v4.s_addr) >> 24) == 127;
  if (IN6_IS_ADDR_LOOPBACK(&v6)) return true;
  // ::ffff:127.x.x.x, as a dual-stack socket reports an IPv4 loopback peer
  return IN6_IS_ADDR_V4MAPPED(&v6) && v6.s6_addr[12] == 127;
}

RequestPolicy::RequestPolicy(PolicyOptions options) : options_(std::move(options)) {
  listenLoopback_ = options_.listenHost.empty() || isLoopbackAddress(options_.listenHost) ||
                    sameText(options_.listenHost, "localhost");
  listenWildcard_ = isWildcard(options_.listenHost);
  for (std::string &origin : options_.allowOrigins) origin = normalOrigin(origin);
}

// Loopback names and addresses always; while serving other machines, also the address
// listened on (any of this machine's addresses for a wildcard) and the names given with
// --allow-host. An address literal cannot be rebound; a name can, so only the names the
// user gave are trusted. The port is not checked: a forwarded port (ssh -L) still names
// this server.
bool RequestPolicy::hostAllowed(std::string_view host) const {
  const std::string_view name = hostName(trim(host));
  if (name.empty()) return false;
  if (sameText(name, "localhost") || isLoopbackAddress(name)) return true;
  for (const std::string &allowed : options_.allowHosts) {
    if (sameText(name, allowed)) return true;
  }
  if (listenLoopback_) return false;
  if (sameText(name, options_.listenHost)) return true;
  return listenWildcard_ && isLocalAddress(name);
}

bool RequestPolicy::originAllowed(std::string_view origin) const {
  const std::string normal = normalOrigin(origin);
  return std::find(options_.allowOrigins.begin(), options_.allowOrigins.end(), normal) !=
         options_.allowOrigins.end();
}

Verdict RequestPolicy::admit(const RequestHead &head) const {
  if (head.host.empty()) return refuse(400, "the request has no Host header");
  if (!hostAllowed(head.host)) {
    return refuse(403, "this server is not addressed as '" + std::string(head.host) +
                           "' (start it with --allow-host NAME to accept a name)");
  }
  // The server's own pages come from the origin they were addressed to.
  bool foreign = false;
  if (head.hasOrigin) {
    const bool own = normalOrigin(head.origin) == normalOrigin("http://" + std::string(head.host));
    foreign = !own;
    if (foreign && !originAllowed(head.origin)) {
      return refuse(403, "requests from pages of another site (" + std::string(head.origin) +
                             ") are refused (start the server with --allow-origin ORIGIN to "
                             "allow one)");
    }
  }
  if (head.method == "OPTIONS") {
    if (!foreign) return refuse(405, "method not allowed");
    Verdict preflight = refuse(204, "");
    preflight.headers = answerHeaders(head);
    preflight.headers.emplace_back("Access-Control-Allow-Methods", "GET, POST, PUT, DELETE");
    preflight.headers.emplace_back("Access-Control-Allow-Headers", "Authorization, Content-Type");
    preflight.headers.emplace_back("Access-Control-Max-Age", "600");
    return preflight;
  }
  if (isApi(head.path) && !options_.token.empty() &&
      !authorized(head.authorization, options_.token)) {
    return refuse(401, "unauthorized");
  }
  return {};
}

Verdict RequestPolicy::acceptBody(const RequestHead &head, const RouteRule &rule) const {
  if (!head.hasBody && head.contentType.empty()) return {};
  if (rule.anyType) return {};
  const std::string_view type = trim(head.contentType.substr(0, head.contentType.find(';')));
  for (const std::string &accepted : rule.bodyTypes) {
    if (sameText(type, accepted)) return {};
  }
  std::string expected;
  for (const std::string &accepted : rule.bodyTypes) {
    expected += (expected.empty() ? "" : " or ") + accepted;
  }
  if (expected.empty()) return refuse(415, "this endpoint takes no body");
  return refuse(415, "send the body as " + expected + ", not '" + std::string(type) + "'");
}

std::vector<std::pair<std::string, std::string>> RequestPolicy::answerHeaders(
    const RequestHead &head) const {
  std::vector<std::pair<std::string, std::string>> headers;
  if (head.hasOrigin && originAllowed(head.origin)) {
    headers.emplace_back("Access-Control-Allow-Origin", std::string(trim(head.origin)));
    headers.emplace_back("Vary", "Origin");
  }
  return headers;
}

}  // namespace tshell_server
