// Names of field values that access lists use in their text forms.
//
// Letters match in either case, and '_' matches '-'. Each lookup returns nothing for an unknown
// name; numbers are not names.
#pragma once

#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "agent/acl/AclRule.h"

namespace Agent {

// IP protocols: "tcp", "ospf", "ipv6-icmp".
std::optional< U8 > protocolFromText( std::string_view name );
// The name, or the number as text.
std::string protocolText( U8 protocol );

// ICMP types, some with a code, of IPv4 or IPv6 lists: "echo-request", "port-unreachable". The type
// is in the high byte.
std::optional< FieldMatch< U16 > > icmpTypeFromText( AclKind kind, std::string_view name );

// Services of TCP and UDP: "www", "domain".
std::optional< U16 > portFromText( std::string_view name );

// Classes of the six DSCP bits: "ef", "af11", "cs1", "default".
std::optional< U8 > dscpFromText( std::string_view name );

// Ethernet types: "ipv4", "arp".
std::optional< U16 > etherTypeFromText( std::string_view name );

// One bit of the TCP flags byte: "syn".
std::optional< U8 > tcpFlagFromText( std::string_view name );

// The names that each of these knows, for messages.
std::vector< std::string_view > protocolNames();
std::vector< std::string_view > icmpTypeNames( AclKind kind );
std::vector< std::string_view > serviceNames();
std::vector< std::string_view > dscpNames();
std::vector< std::string_view > etherTypeNames();
std::vector< std::string_view > tcpFlagNames();

}  // namespace Agent
