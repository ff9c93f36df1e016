// Ports by number or by the platform's names, as texts of users and documents have them.
#pragma once

#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "platform/PlatformModel.h"

namespace Platform {

struct PortSpan {
  U32 low = 0;
  U32 high = 0;
};

// The texts between the commas of a list of ports.
std::vector< std::string > portList( std::string_view text );

// A port, or LOW-HIGH, each by number or name. HIGH may leave out what comes before the digits at
// the end of LOW's name: Ethernet4-7. Empty: the platform has no such ports.
std::optional< PortSpan > portsOf( const PlatformData & platform, std::string_view text );

// Why portsOf returns nothing for a text: "the range 5-2 is reversed", or "there is no port eth9: "
// and portsText.
std::string noPorts( const PlatformData & platform, std::string_view text );

// What to write instead: "small has the ports 0 to 47, by name Ethernet0 to Ethernet47".
std::string portsText( const PlatformData & platform );

}  // namespace Platform
