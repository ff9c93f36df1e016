// The agent's main job: start the library on a switch, program access lists, classify packets.
#pragma once

#include <functional>
#include <string>
#include <vector>

#include "agent/AclRule.h"
#include "agent/ClassBenchReader.h"
#include "agent/Packet.h"
#include "agent/RunReport.h"
#include "platform/PlatformModel.h"

namespace Agent {

class SwitchSession;

// As they were asked for on the command line.
struct RunOptions {
  std::string platform = "large";   // built-in name or file
  std::vector< std::string > acls;  // FILE or NAME=FILE; none: the example
  AclFormat format = AclFormat::detect;
  std::string packets;  // trace file; empty: none
  U32 random = 0;       // packets made from the rules
  U64 seed = 1;
  U32 ingressPort = 0;
  bool denyByDefault = false;
  bool verify = false;
};

// Everything that a run needs, read and checked.
struct RunInput {
  Platform::PlatformData platform;
  std::vector< Acl > acls;  // earlier ones win
  std::vector< PacketFields > packets;
  U32 ingressPort = 0;
  bool denyByDefault = false;
  bool verify = false;
};

// Reads the files. Without access lists the built-in example is used, and, when no packets are
// asked for either, its packets too. Throws Platform::InputError for unusable input and UsageError
// for options that do not go together.
class UsageError : public std::runtime_error {
 public:
  using std::runtime_error::runtime_error;
};
RunInput readInput( const RunOptions & options );

// Runs the job on a switch of its own. Counters are read after the packets went in at the ingress
// port and before verification sends them again. Verification compares the fate of every packet at
// a port of every pipe and copy with a walk over the rules, then runs the auditor. Called with the
// activity lock held.
RunReport run( const RunInput & input );

// Programs the access lists on a switch of its own, sends no packets, and lends the switch to
// `use`. Called with the activity lock held.
void withProgrammedSwitch( const RunInput & input,
                           const std::function< void( SwitchSession & ) > & use );

}  // namespace Agent
