// Text forms of addresses.
#pragma once

#include <optional>
#include <string>
#include <string_view>

#include "agent/acl/AclRule.h"

namespace Agent {

std::string ip4Text( U32 address );
std::string ip6Text( const Ip6Address & address );
std::string macText( U64 mac );

// Empty for malformed text.
std::optional< U32 > ip4FromText( std::string_view text );
std::optional< Ip6Address > ip6FromText( const std::string & text );
std::optional< U64 > macFromText( std::string_view text );  // six bytes, "02:00:5e:00:00:01"

}  // namespace Agent
