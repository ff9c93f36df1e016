// The agent's main job: starts the library on a switch, programs access lists, classifies packets.
#pragma once

#include <functional>
#include <optional>
#include <string>
#include <vector>

#include "agent/command/CapacityOptions.h"
#include "agent/command/CounterClearing.h"
#include "agent/command/UsageShow.h"
#include "agent/feature/RuleResources.h"
#include "agent/packets/Packet.h"
#include "agent/read/AclFiles.h"
#include "agent/report/RunReport.h"
#include "agent/verify/Replay.h"
#include "platform/PlatformModel.h"
#include "shim/SdkShim.h"

namespace Agent {

class AclFeature;
class SwitchSession;

// Command line options, unparsed.
struct RunOptions {
  std::string platform = "large";      // built-in name or file
  std::vector< std::string > acls;     // FILE or NAME=FILE; empty: built-in example
  const AclFormat * format = nullptr;  // null: by content
  bool partial = false;                // run without refused rules
  ReaderOptions reader;
  bool boundLists = true;      // refuse lists that no share of the platform can hold
  bool supportedLists = true;  // refuse lists that the platform does not support
  PortMethod ports = PortMethod::automatic;
  std::vector< std::string > police;  // RULE:RATE[:BURST]
  std::string packets;                // capture or trace; empty: none
  U32 random = 0;                     // number of packets generated from the rules
  U64 seed = 1;
  U32 packetsPerSecond = 1'000'000;  // for packets without time stamps; above 0
  std::vector< std::string > binds;  // LIST=PORTS[:in|out]
  // Number or name; empty: as packetPorts finds.
  std::string ingressPort;
  std::string egressPort;
  Forwarding defaultAction = Forwarding::none;  // of lists that do not state one
  bool verify = false;
  std::string record;                     // file for the SDK calls; empty: none
  std::string sdk;                        // library of a binding; empty: the software ASIC
  std::string html;                       // file for htmlReport; empty: none
  std::string show;                       // for usageRequest; empty: none
  std::vector< std::string > clears;      // for clearRequest
  std::vector< std::string > thresholds;  // for readThresholds
};

// Validated input of a run.
struct RunInput {
  Platform::PlatformData platform;
  std::vector< Acl > acls;  // in order of precedence
  ReaderRemarks remarks;
  PortMethod portMethod = PortMethod::automatic;
  PacketFile packets;
  std::vector< PortPair > ports = { {} };       // of the packets, in turn
  Forwarding defaultAction = Forwarding::none;  // of lists that do not state one
  bool verify = false;
  std::string record;             // file for the SDK calls; empty: none
  Shim::SdkShim * sdk = nullptr;  // null: the software ASIC; otherwise no packets
  bool map = false;               // draw the slices for the report
  UsageRequest show;
  std::vector< ClearRequest > clears;  // after the packets
  std::vector< StageThreshold > thresholds;

  // By which a packet enters and leaves; they are counted from 0.
  const PortPair & portsOfPacket( U64 index ) const;
  // True if the capacity is monitored.
  bool wantsCapacity() const { return show.view == UsageView::capacity || !thresholds.empty(); }
};

// Reads the files. Defaults to the built-in example's access list, and to its packets if neither
// lists nor packets are given. Throws Platform::InputError for invalid input and UsageError for
// conflicting options, RefusedRules for rules that readers refuse unless `partial` is set.
RunInput readInput( const RunOptions & options );

// Prints the refused rules to standard error, where a command continues without them.
void printRefusals( const ReaderRemarks & remarks );

// Rules of all lists, with the default actions.
U64 rulesIn( const std::vector< Acl > & acls );

// Resolves the ports of rules that their file names. Rules with ports that the platform does not
// have are refused.
void resolvePorts( const Platform::PlatformData & platform, AclDocument & document );
// Those of one rule. Throws Platform::InputError for ports that the platform does not have.
void resolvePorts( const Platform::PlatformData & platform, const std::string & file,
                   const NamedPorts & ports, AclRule & rule );

// Sets policers of rules from a list of RULE:RATE[:BURST] (units: docs/rules-file.md). RULE is a
// number from 1 or, with several lists, LIST/NUMBER. Throws UsageError.
void applyPolice( const std::vector< std::string > & police, std::vector< Acl > & acls );

// Restricts every rule of a list to the ports that the list is bound to, by its file or by options
// LIST=PORTS[:in|out], which replace what the file says. LIST names a list or, as in its file, a
// list that became several; an option that names one of these replaces one that names them all.
// PORTS: all, or numbers or names of ports and LOW-HIGH with commas. A list that is bound in both
// directions becomes two, of which the second, for packets that leave, gets ", out" after its name.
// Throws UsageError, and Platform::InputError for what a file says.
void applyBindings( const std::vector< std::string > & binds,
                    const Platform::PlatformData & platform, std::vector< Acl > & acls );

// The ports that packets enter and leave by in turn: those of the options, otherwise the first port
// of each set of lists of the direction, and of their rules on ports, that packets can meet at a
// port. Without lists port 0.
std::vector< PortPair > packetPorts( const RunOptions & options,
                                     const Platform::PlatformData & platform,
                                     const std::vector< Acl > & acls );

// Runs the job on a new switch. Call with the activity lock held.
// - Counters are cleared, if requested, and read after the packets and before verification sends
//   them again.
// - The capacity, if monitored, is polled at the start, after every list, before a list that does
//   not fit is rolled back, after the packets, and after everything has been released.
// - Verification refills all policers, compares the result of every packet from one port of every
//   pipe and copy, and from and to the ports around those of rules, with the reference model, and
//   runs the auditor, again after the release.
// Throws Platform::InputError for a user-defined field that a flow-programming group lacks, and
// UsageError, before any packet is sent, for a requested entry that does not exist.
RunReport run( const RunInput & input );

// Programs the access lists on a new switch, passes it to `use`, then shuts it down. Sends no
// packets; reports only the lists and the default action. Call with the activity lock held.
RunReport withProgrammedSwitch( const RunInput & input,
                                const std::function< void( SwitchSession & ) > & use );
// The same, with the lists as they were programmed.
using UseOfFeature = std::function< void( SwitchSession &, AclFeature & ) >;
RunReport withProgrammedFeature( const RunInput & input, const UseOfFeature & use );

}  // namespace Agent
