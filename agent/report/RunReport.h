// Results of a run, independent of the output format.
#pragma once

#include <map>
#include <optional>
#include <set>
#include <string>
#include <vector>

#include "agent/feature/AclFeature.h"
#include "agent/packets/Packet.h"
#include "agent/report/CapacityReport.h"
#include "agent/report/Terminal.h"

namespace Agent {

// How a rule's ports in one direction are matched.
enum class PortsBy {
  value,     // wildcard or one prefix: no checker needed
  checker,   // a range checker
  prefixes,  // several prefixes
};

struct RuleUse {
  U32 rule = 0;           // index in its access list, from 0; reports count from 1
  U32 line = 0;           // in its file, from 1
  std::string name;       // in its file; empty: it has none
  U64 entries = 0;        // TCAM entries of the rule on one pipe and copy
  std::string expansion;  // why there are several; empty: there is one
  PortsBy sourcePorts = PortsBy::value;
  PortsBy destinationPorts = PortsBy::value;
  WantedCounters wanted;  // other counters are 0
  // Over all pipes and copies, before verification.
  RuleCounters counters;
  std::optional< PoliceRate > police;
  std::string match;    // as text; empty if the list does not fit
  std::string actions;  // likewise
};

struct AclReport {
  std::string name;
  std::string file;
  // Required per pipe and copy; with prefixes only if the list does not fit.
  U64 entries = 0;    // with the default action's
  U64 installed = 0;  // `entries` or 0
  Forwarding defaultAction = Forwarding::none;
  DefaultOrigin defaultOrigin = DefaultOrigin::unstated;
  U64 defaultEntries = 0;
  Direction direction = Direction::in;
  std::vector< FieldRange< U32 > > ports;  // that it is bound to; empty: all
  std::optional< AclShortage > shortage;   // empty: it fits
  std::vector< RuleUse > rules;
};

// "2,5-6"; "all" for an empty list.
std::string portsText( const AclReport & acl );
// "slices ran out at rule 3 (line 4); rolled back", of a list that does not fit.
std::string shortageText( const AclReport & acl );

struct GroupUse {
  U32 group = 0;
  std::string users;                 // reservation names
  std::vector< std::string > lists;  // access lists with entries in it
  U32 pipe = 0;
  U32 copy = 0;
  U32 used = 0;  // entries in it
};

// A user of the TCAM that has lists or entries. Each entry is in every pipe and copy.
struct UserUse {
  std::string name;                  // of the reservation
  std::vector< std::string > lists;  // access lists in its share
  U32 group = 0;
  U32 used = 0;       // entries, without those that are set aside for it
  U32 share = 0;      // entries that it may have; 0: no bound
  U32 available = 0;  // entries that it could still get now
};

// What the readers report about the files of the access lists.
struct ReaderRemarks {
  U64 refused = 0;                      // rules and lists that are left out
  std::vector< std::string > refusals;  // the first of each file
  std::vector< std::string > notes;     // what the readers assume
};

struct RunReport {
  ReaderRemarks remarks;
  std::string platform;
  std::string description;
  U32 unit = 0;
  // For packets that no rule matches, of lists that do not state an action.
  Forwarding defaultAction = Forwarding::none;
  std::optional< AclResource > defaultShortage;  // why its entries are missing; empty: they are not
  U32 defaultEntries = 0;
  std::vector< AclReport > acls;

  U64 total = 0;                 // packets
  std::set< U32 > ingressPorts;  // by which they entered
  std::set< U32 > egressPorts;   // by which they leave; empty without lists for such packets
  U64 matched = 0;               // by a rule
  U64 byDefault = 0;             // by none
  U64 dropped = 0;
  U64 copiedToCpu = 0;
  U64 mirrored = 0;
  U64 mismatches = 0;  // of `total`: unexpected result on some port; 0 without verification
  std::optional< MadeUpHeaders > madeUp;  // of `total`: no Ethernet header in the capture

  std::vector< UserUse > users;
  std::string map;                 // of the slices, an SVG file; empty unless it is wanted
  std::vector< GroupUse > groups;  // on the chip
  U32 rangeCheckers = 0;           // in use
  U32 rangeCheckersMax = 0;        // that the chip has
  std::map< std::string, U64 > sdkCalls;

  std::vector< std::string > cleared;  // counters cleared before reading

  std::string usage;                         // library report, if requested
  std::optional< CapacityReport > capacity;  // if monitored
  bool verified = false;
  std::vector< std::string > differences;  // from the auditor, and the first mismatched packets

  // All rules were read, all lists fit, and verification found no difference.
  bool success() const;
};

// The first line of every text report: rules are missing. Empty: none are.
std::string partialText( const ReaderRemarks & remarks );
// The JSON text `shown`, or an object of it and of "partial" if rules are missing.
std::string withPartial( const ReaderRemarks & remarks, const std::string & shown );
// One line per list that does not fit, and for the default action: reason and first rule.
std::vector< std::string > unfitLists( const RunReport & report );

// What a text report shows, and for whom.
struct TextOptions {
  bool detail = false;      // every rule in place of the busiest ones
  std::string filter = {};  // only rules with this in list, name, match or action; empty: all
  U32 top = 10;             // rules that are named as the busiest or the largest
  Terminal terminal = {};
};
std::string textReport( const RunReport & report, const TextOptions & options );
// One JSON object with a final newline.
std::string jsonReport( const RunReport & report );

}  // namespace Agent
