// Reads access list and packet files of all supported formats.
#pragma once

#include <string>
#include <vector>

#include "agent/Packet.h"

namespace Agent {

enum class AclFormat {
  detect,      // by the first non-blank character: '@' ClassBench, '{' rules file
  classBench,  // ClassBenchReader.h
  rules,       // RulesFileReader.h
};

// Both throw Platform::InputError for an unreadable or malformed file.
Acl readAcl( const std::string & name, const std::string & file, AclFormat format );

// The packets of a capture, with their time stamps, or of a trace, `interval` nanoseconds apart.
// The magic number selects the format.
std::vector< Packet > readPackets( const std::string & file, U64 interval );

// Appends frames, each `interval` nanoseconds after its predecessor.
void appendFrames( std::vector< Packet > & packets, std::vector< Frame > frames, U64 interval );

}  // namespace Agent
