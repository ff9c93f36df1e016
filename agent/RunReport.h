// What a run found out, before it is written in any form.
#pragma once

#include <map>
#include <optional>
#include <string>
#include <vector>

#include "agent/AclFeature.h"
#include "agent/CapacityReport.h"

namespace Agent {

// How a rule's ports of one direction are matched.
enum class PortsBy {
  value,     // nothing, or one prefix: no checker is needed
  checker,   // a range checker
  prefixes,  // several prefixes
};

struct RuleUse {
  U32 rule = 0;     // index in its access list, from 0
  U32 line = 0;     // in its file, from 1
  U32 entries = 0;  // TCAM entries of the rule on one pipe and copy
  PortsBy sourcePorts = PortsBy::value;
  PortsBy destinationPorts = PortsBy::value;
  WantedCounters wanted;  // the counters of what it does not count are 0
  // What the rule decided, over all pipes and copies, before any verification.
  RuleCounters counters;
  std::optional< PoliceRate > police;
  std::string text;
};

struct AclReport {
  std::string name;
  std::string file;
  // That its rules make, on one pipe and copy; of a list that does not fit, by prefixes alone.
  U32 entries = 0;
  U32 installed = 0;                      // of those: all or none
  std::optional< AclShortage > shortage;  // absent: it fits
  std::vector< RuleUse > rules;
};

struct GroupUse {
  U32 group = 0;
  std::string users;  // names of its reservations
  U32 pipe = 0;
  U32 copy = 0;
  U32 used = 0;  // entries in it
  U32 free = 0;  // entries that it can still take, with the slices that are free
};

struct RunReport {
  std::string platform;
  std::string description;
  U32 unit = 0;
  U32 ingressPort = 0;
  bool denyByDefault = false;
  std::optional< AclResource > denyShortage;  // why the implicit deny is missing; absent: it is not
  U32 denyEntries = 0;                        // of the implicit deny
  std::vector< AclReport > acls;

  // Packets at the ingress port.
  U64 total = 0;
  U64 matched = 0;    // by a rule
  U64 byDefault = 0;  // by none
  U64 dropped = 0;
  U64 copiedToCpu = 0;
  U64 mirrored = 0;
  U64 mismatches = 0;  // of `total`: fate at some port not as the rules say; 0 without verification

  std::vector< GroupUse > groups;  // groups that exist on the chip
  U32 rangeCheckers = 0;           // in use
  std::map< std::string, U64 > sdkCalls;

  std::vector< std::string > cleared;  // whose counters, before they were read

  std::string usage;                         // the library's own report, where one was asked for
  std::optional< CapacityReport > capacity;  // where it was watched
  bool verified = false;
  std::vector< std::string > differences;  // the auditor's lines, and the first wrong packets'

  // Every access list fits and verification found nothing.
  bool allWell() const;
};

// A line for each list that does not fit, and for the implicit deny: why, and where it stopped to.
std::vector< std::string > unfitLists( const RunReport & report );
// The report for people; `detail` lists every rule instead of the ten busiest.
std::string textReport( const RunReport & report, bool detail );
// The report for programs: one JSON object, with a line end.
std::string jsonReport( const RunReport & report );

}  // namespace Agent
