#include "agent/acl/AclRule.h"

namespace Agent {

const char * kindName( AclKind kind ) {
  return kind == AclKind::ipv4 ? "ipv4" : kind == AclKind::ipv6 ? "ipv6" : "mac";
}

const char * useName( AclUse use ) {
  switch ( use ) {
    case AclUse::filter:
      return "filter";
    case AclUse::mirror:
      return "mirror";
    case AclUse::flow:
      return "flow";
    case AclUse::flowVxlan:
      return "flowVxlan";
  }
  return "unknown";
}

}  // namespace Agent
