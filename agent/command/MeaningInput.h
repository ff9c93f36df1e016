// What the commands about the meaning of lists have in common.
#pragma once

#include <algorithm>
#include <vector>

#include "agent/command/MeaningCommands.h"
#include "agent/command/UsageError.h"
#include "agent/feature/AclShares.h"
#include "agent/report/OutputFile.h"
#include "agent/space/Space.h"

namespace Agent {

// The lists, whether or not the platform serves them. Prints refused rules.
inline RunInput readLists( RunOptions options ) {
  options.boundLists = false;
  options.supportedLists = false;
  RunInput input = readInput( options );
  printRefusals( input.remarks );
  return input;
}

inline SpaceLimits limitsOf( const MeaningOptions & options, const RunInput & input ) {
  return { options.nodes, input.platform.chip.ports() };
}

// What happens to packets about which the list does not decide.
inline Forwarding restOf( const RunInput & input, const Acl & acl ) {
  return acl.use == AclUse::filter ? input.defaultAction : Forwarding::none;
}

// The table for lists of the class, which is added if it is new. A Table begins with its ListClass.
template < class Table >
Table & tableFor( const ListClass & lists, std::vector< Table > & tables ) {
  const auto found = std::find_if( tables.begin(), tables.end(),
                                   [ & ]( const Table & table ) { return table.lists == lists; } );
  return found != tables.end() ? *found : tables.emplace_back( Table{ lists, {}, {} } );
}

template < class F >
auto withinNodes( F && work ) {
  try {
    return work();
  } catch ( const SpaceExhausted & exhausted ) {
    throw UsageError( exhausted.what() );
  }
}

}  // namespace Agent
