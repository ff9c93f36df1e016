// What lists do with packets: the fate of every packet, and the rule that decides it.
#pragma once

#include <map>
#include <optional>
#include <string>
#include <tuple>
#include <vector>

#include "agent/acl/AclRule.h"
#include "agent/space/Space.h"

namespace Agent {

// What happens to a packet.
struct Fate {
  Forwarding forwarding = Forwarding::none;  // none: the lists leave the decision to others
  bool copyToCpu = false;
  std::optional< U32 > mirrorPort;
  U64 bitsPerSecond = 0;  // of the policer; 0: none
  U64 burstBytes = 0;
  PacketSet sharing;  // the packets that share the policer

  friend bool operator==( const Fate &, const Fate & ) = default;
  friend auto operator<=>( const Fate &, const Fate & ) = default;
};

// Without who shares the policer.
Fate fateOf( const Acl & acl, const AclRule & rule );
// "permit", "drop, copy to CPU", "undecided".
std::string fateText( const Fate & fate );

// True if the rule must stay a rule of its own: its file asks for its counters, or it has a
// policer.
bool standsAlone( const AclRule & rule );

// A rule, or the default action of a list.
struct MeaningRow {
  const Acl * acl;
  const AclRule * rule;
  U32 index;  // in the list; its size: the default action
  PacketSet matched;
  PacketSet decided;  // those of them that no earlier row matches

  bool isDefault() const { return index == acl->rules.size(); }
};

// Lists that are looked up as one, in order of precedence, all of the space's kind. The lists must
// outlive it.
class Meaning {
 public:
  // `rest`: what happens to packets about which no list decides. Throws Platform::InputError for a
  // rule on user-defined fields.
  Meaning( const Space & space, const std::vector< const Acl * > & lists, Forwarding rest );

  const std::vector< MeaningRow > & rows() const { return rows_; }
  const PacketSet & undecided() const { return undecided_; }
  // Every packet of the kind, by its fate.
  std::map< Fate, PacketSet > fates() const;
  // The first row that matches the packet; null: none.
  const MeaningRow * deciding( const PacketPoint & packet ) const;
  Forwarding rest() const { return rest_; }

 private:
  const Space & space_;
  const Forwarding rest_;
  std::vector< MeaningRow > rows_;
  PacketSet undecided_;
};

// Throws Platform::InputError if the list has a rule on user-defined fields: they overlap the other
// fields, so that sets of packets cannot hold both.
void requireNoUdf( const Acl & acl );

}  // namespace Agent
