// The "chip" object of a platform file.
#pragma once

#include <string>

#include "platform/JsonFields.h"
#include "platform/PlatformModel.h"

namespace Platform {

// Fills the chip's profile and record, the agent's attributes and the loopback ports from the
// members "chip" and "agent" of a platform. Throws InputError.
void readChip( const std::string & file, JsonFields & platform, PlatformData & data );

// A qualifier by its name.
U32 readQualifier( const std::string & file, const JsonNode & node );

}  // namespace Platform
