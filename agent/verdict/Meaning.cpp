#include "agent/verdict/Meaning.h"

#include <fmt/core.h>

#include <algorithm>

#include "agent/acl/RuleText.h"
#include "platform/InputError.h"

namespace Agent {

Fate fateOf( const Acl & acl, const AclRule & rule ) {
  Fate fate;
  fate.forwarding = rule.forwarding;
  fate.copyToCpu = rule.copyToCpu;
  if ( rule.mirror )
    fate.mirrorPort = acl.mirrorPort;
  if ( rule.police ) {
    fate.bitsPerSecond = rule.police->bitsPerSecond;
    fate.burstBytes = rule.police->burstBytes;
  }
  return fate;
}

std::string fateText( const Fate & fate ) {
  std::string text =
      fate.forwarding == Forwarding::none ? "undecided" : forwardingName( fate.forwarding );
  if ( fate.copyToCpu )
    text += ", copy to CPU";
  if ( fate.mirrorPort )
    text += fmt::format( ", mirror to port {}", *fate.mirrorPort );
  if ( fate.bitsPerSecond != 0 )
    text +=
        fmt::format( ", police {} kbit/s, {} bytes", fate.bitsPerSecond / 1000, fate.burstBytes );
  return text;
}

bool standsAlone( const AclRule & rule ) {
  return rule.counters.stated || rule.police.has_value();
}

void requireNoUdf( const Acl & acl ) {
  for ( const AclRule & rule : acl.rules )
    if ( !rule.udf.empty() )
      throw Platform::InputError(
          acl.file, { rule.line, rule.column },
          fmt::format( "{}: rules on user-defined fields cannot be compared as sets of packets",
                       acl.name ) );
}

Meaning::Meaning( const Space & space, const std::vector< const Acl * > & lists, Forwarding rest )
    : space_( space ), rest_( rest ), undecided_( space.all() ) {
  for ( const Acl * acl : lists ) {
    requireNoUdf( *acl );
    for ( U32 index = 0; index < acl->size(); ++index ) {
      space.at( acl->name, index );
      const AclRule & rule = acl->rule( index );
      PacketSet matched = space.matchedBy( *acl, rule );
      PacketSet decided = matched & undecided_;
      undecided_ -= matched;
      rows_.push_back( { acl, &rule, index, std::move( matched ), std::move( decided ) } );
    }
  }
}

std::map< Fate, PacketSet > Meaning::fates() const {
  std::map< Fate, PacketSet > fates;
  for ( const MeaningRow & row : rows_ ) {
    Fate fate = fateOf( *row.acl, *row.rule );
    if ( row.rule->police )
      fate.sharing = row.decided;
    if ( !row.decided.empty() )
      fates[ fate ] |= row.decided;
  }
  Fate rest;
  rest.forwarding = rest_;
  if ( !undecided_.empty() )
    fates[ rest ] |= undecided_;
  return fates;
}

const MeaningRow * Meaning::deciding( const PacketPoint & packet ) const {
  const auto found = std::find_if( rows_.begin(), rows_.end(), [ & ]( const MeaningRow & row ) {
    return space_.holds( row.matched, packet );
  } );
  return found == rows_.end() ? nullptr : &*found;
}

}  // namespace Agent
