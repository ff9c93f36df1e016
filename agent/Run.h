// The agent's main job: start the library on a switch, program access lists, classify packets.
#pragma once

#include <functional>
#include <stdexcept>
#include <string>
#include <vector>

#include "agent/AclFiles.h"
#include "agent/CapacityOptions.h"
#include "agent/CounterClearing.h"
#include "agent/Packet.h"
#include "agent/RuleResources.h"
#include "agent/RunReport.h"
#include "agent/UsageShow.h"
#include "platform/PlatformModel.h"

namespace Agent {

class SwitchSession;

// As they were asked for on the command line.
struct RunOptions {
  std::string platform = "large";   // built-in name or file
  std::vector< std::string > acls;  // FILE or NAME=FILE; none: the example
  AclFormat format = AclFormat::detect;
  PortMethod ports = PortMethod::automatic;
  std::vector< std::string > police;  // RULE:RATE[:BURST]
  std::string packets;                // capture or trace; empty: none
  U32 random = 0;                     // packets made from the rules
  U64 seed = 1;
  U32 packetsPerSecond = 1'000'000;  // of those that have no time of their own; above 0
  U32 ingressPort = 0;
  bool denyByDefault = false;
  bool verify = false;
  std::string show;  // what usageRequest takes; empty: no report of the library's own
  std::vector< std::string > clears;      // what clearRequest takes
  std::vector< std::string > thresholds;  // what readThresholds takes
};

// Everything that a run needs, read and checked.
struct RunInput {
  Platform::PlatformData platform;
  std::vector< Acl > acls;  // earlier ones win
  PortMethod ports = PortMethod::automatic;
  std::vector< Packet > packets;
  U32 ingressPort = 0;
  bool denyByDefault = false;
  bool verify = false;
  UsageRequest show;
  std::vector< ClearRequest > clears;  // when the packets have been sent
  std::vector< StageThreshold > thresholds;

  // Whether the TCAM's capacity is watched.
  bool wantsCapacity() const { return show.view == UsageView::capacity || !thresholds.empty(); }
};

class UsageError : public std::runtime_error {
 public:
  using std::runtime_error::runtime_error;
};

// Reads the files. Without access lists the built-in example is used, and, when no packets are
// asked for either, its packets too. Throws Platform::InputError for unusable input and UsageError
// for options that do not go together.
RunInput readInput( const RunOptions & options );

// Gives rules the policers that `police`, a list of RULE:RATE[:BURST], asks for (docs/rules-file.md
// tells the units). RULE is an index or, with several lists, LIST/INDEX. Throws UsageError.
void applyPolice( const std::vector< std::string > & police, std::vector< Acl > & acls );

// Runs the job on a switch of its own. Counters are cleared, as asked, and then read after the
// packets went in at the ingress port and before verification sends them again. The capacity, where
// it is watched, is polled at the start, after every list, when a list has run out and is still
// there, after the packets, and when everything has been taken back. Verification starts all
// policers anew, compares the fate of every packet at a port of every pipe and copy with a walk
// over the rules, and runs the auditor, once more when everything has been taken back. Called with
// the activity lock held. Throws Platform::InputError for a user-defined field that a
// flow-programming group lacks, and UsageError, before any packet is sent, for an entry that is
// asked for and not there.
RunReport run( const RunInput & input );

// Programs the access lists on a switch of its own, sends no packets, and lends the switch to
// `use`; the switch ends with the call. Reports what became of the lists and of the implicit deny,
// and nothing else. Called with the activity lock held.
RunReport withProgrammedSwitch( const RunInput & input,
                                const std::function< void( SwitchSession & ) > & use );

}  // namespace Agent
