// Reads the files that a user names: access lists and packets, whatever their form.
#pragma once

#include <string>
#include <vector>

#include "agent/Packet.h"

namespace Agent {

enum class AclFormat {
  detect,      // by the first character that is not blank: '@' ClassBench, '{' a rules file
  classBench,  // ClassBenchReader.h
  rules,       // RulesFileReader.h
};

// Both throw Platform::InputError for a file that cannot be read or is not understood.
Acl readAcl( const std::string & name, const std::string & file, AclFormat format );

// The packets of a capture, which keep their times, or of a trace; which of them a file is its
// magic number tells. Packets of a trace come `interval` nanoseconds apart.
std::vector< Packet > readPackets( const std::string & file, U64 interval );

// Adds frames behind the packets, each `interval` nanoseconds behind the one before it.
void appendFrames( std::vector< Packet > & packets, std::vector< Frame > frames, U64 interval );

}  // namespace Agent
