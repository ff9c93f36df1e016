// The agent's ACL types, for mirroring groups and user-defined fields.
#pragma once

#include "kiv/Types.h"

namespace Morvane::Acl {

constexpr Kiv::S32 ip() {  // IPv4
  return 0;
}
constexpr Kiv::S32 ip6() {
  return 1;
}
constexpr Kiv::S32 mac() {
  return 2;
}

}  // namespace Morvane::Acl
