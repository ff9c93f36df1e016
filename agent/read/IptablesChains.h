// Chains of rules that call each other, and the one list of rules that they mean.
#pragma once

#include <string>
#include <vector>

#include "agent/read/AclDocument.h"

namespace Agent {

// What happens to a packet that a rule of a chain matches.
enum class ChainVerdict : U8 {
  none,    // the next rule
  accept,  // the end
  drop,    // the end
  back,    // the caller's next rule, or the policy
  call,    // the rules of a chain, then the next rule
  go,      // the rules of a chain, then the caller's next rule
};

struct ChainRule {
  AclRule match;
  ChainVerdict verdict = ChainVerdict::none;
  U32 chain = 0;  // called
};

struct Chain {
  std::string name;
  Platform::Place place;
  Forwarding policy = Forwarding::none;  // none: of a user's chain
  U32 lines = 0;                         // rules in the file, the refused ones too
  std::vector< ChainRule > rules;        // those with a target
  U32 sure = 0;                          // rules of its list, without those of called chains
  bool closed = false;                   // no packet reaches further rules
};

// Adds a rule to a chain.
void addTo( Chain & chain, ChainRule rule );

// Refuses calls that close a loop, and removes them.
void refuseLoops( std::vector< Chain > & chains, Refusals & refusals );

// The rules of a chain with a policy, those of called chains in their places. Requires calls
// without loops. A rule that returns is followed by the rest of the callers, restricted to its
// packets: the list can be longer than the chains. Throws Platform::InputError for lists that grow
// without measure.
std::vector< AclRule > flattened( const AclDocument & document, const std::vector< Chain > & chains,
                                  U32 chain );

}  // namespace Agent
