// The placeholders of the host's URL templates and the one way of filling
// them in.
#ifndef KORRIN_SRC_BASE_URL_TOKENS_H
#define KORRIN_SRC_BASE_URL_TOKENS_H

#include <string>

namespace korrin {
namespace detail {

/// Configuration server in the configuration URL template (also exported as
/// TFTP_TOKEN).
inline constexpr char kConfigServerToken[] = "{tftp}";
/// User id in the configuration URL template.
inline constexpr char kUserIdToken[] = "{userid}";
/// First configuration server in the inventory URL.
inline constexpr char kInventoryServerToken[] = "{qelm}";

/// True when `url` holds `token`. Callers ask the host for a token's value
/// only then, so a template without the token costs no host call.
inline bool has_token(const std::string& url, const std::string& token) {
  return url.find(token) != std::string::npos;
}

/// Replaces the first `token` in `url` with `value`; no change without one.
inline void replace_token(std::string& url, const std::string& token, const std::string& value) {
  const std::size_t position = url.find(token);
  if (position != std::string::npos) {
    url.replace(position, token.size(), value);
  }
}

/// `address` in square brackets when it holds a ":" (an IPv6 literal, or an
/// address that carries a port), so that it can stand as a URL's host.
inline std::string bracket_address(const std::string& address) {
  return address.find(':') == std::string::npos ? address : "[" + address + "]";
}

}  // namespace detail
}  // namespace korrin

#endif  // KORRIN_SRC_BASE_URL_TOKENS_H
