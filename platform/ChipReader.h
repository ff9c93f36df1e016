// The "chip" object of a platform file.
#pragma once

#include <string>
#include <vector>

#include "platform/JsonFields.h"
#include "platform/PlatformModel.h"

namespace Platform {

// Reads the members "chip" and "agent" of a platform: the chip's profile and record, the loopback
// ports, the agent's attributes. Throws InputError.
void readChip( const std::string & file, JsonFields & platform, PlatformData & data );

// A qualifier by its name.
U32 readQualifier( const std::string & file, const JsonNode & node );

// A list of port numbers, below BCM_PBMP_PORT_MAX.
std::vector< U32 > readPorts( JsonFields & fields, const std::string & key );

// A list of the names of `ports` ports.
std::vector< std::string > readPortNames( JsonFields & fields, const std::string & key, U32 ports );

}  // namespace Platform
