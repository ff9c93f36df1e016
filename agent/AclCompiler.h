// Turns rules into TCAM entries.
//
// A rule becomes one entry per pair of source and destination port prefixes; everything else of a
// rule is ternary as it stands. The entries of one rule never overlap, so that their order does not
// matter; the order of rules does.
#pragma once

#include <vector>

#include "agent/AclRule.h"
#include "agent/PortExpansion.h"

namespace Agent {

template < class T >
struct FieldMatch {
  T value = 0;
  T mask = 0;  // 0: not looked at, and then not qualified
};

// What one entry matches. Every entry matches IPv4 packets only.
struct EntryMatch {
  FieldMatch< U32 > sourceIp;
  FieldMatch< U32 > destinationIp;
  FieldMatch< U8 > protocol;
  PortMatch sourcePort;
  PortMatch destinationPort;
  FieldMatch< U8 > tcpFlags;
  FieldMatch< U16 > icmpTypeCode;
};

std::vector< EntryMatch > compileRule( const AclRule & rule );

// Entries of each rule of an access list, by rule.
using CompiledAcl = std::vector< std::vector< EntryMatch > >;
CompiledAcl compileAcl( const Acl & acl );

}  // namespace Agent
