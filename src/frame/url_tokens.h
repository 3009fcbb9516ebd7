// Filling a server address into a URL template.
#ifndef KORRIN_SRC_FRAME_URL_TOKENS_H
#define KORRIN_SRC_FRAME_URL_TOKENS_H

#include <string>

namespace korrin {
namespace detail {

/// `address` in square brackets when it holds a ":" (an IPv6 literal, or an
/// address that carries a port), so that it can stand as a URL's host.
inline std::string bracket_address(const std::string& address) {
  return address.find(':') == std::string::npos ? address : "[" + address + "]";
}

}  // namespace detail
}  // namespace korrin

#endif  // KORRIN_SRC_FRAME_URL_TOKENS_H
