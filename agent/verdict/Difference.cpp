#include "agent/verdict/Difference.h"

#include <fmt/core.h>

#include <algorithm>
#include <optional>
#include <utility>

#include "agent/acl/RuleText.h"
#include "agent/verdict/RuleNumbers.h"

namespace Agent {

namespace {

constexpr const char * anyPacket = "any packet";

// Restricts the box to the one of the rule's values in the field that holds the packet. False: the
// result is no rule, or the rule matches the packet by other fields, as it does later fragments.
bool narrow( const MatchField & field, const PacketPoint & packet, const AclRule & rule,
             AclRule & box ) {
  const FieldBits value = packet.of( field.id );
  if ( field.id == FieldId::fragments ) {
    const bool free = box.fragments == Fragments::any || box.fragments == rule.fragments;
    box.fragments = rule.fragments;
    return free;
  }
  if ( field.isRange() ) {
    const AnyRange own = rangesIn( field, box ).front();
    for ( const AnyRange & range : rangesIn( field, rule ) )
      if ( range.low <= value.low && value.low <= range.high ) {
        setRanges( box, field.id,
                   std::vector< AnyRange >{
                       { std::max( own.low, range.low ), std::min( own.high, range.high ) } } );
        return true;
      }
    return false;
  }
  const TernaryBits own = matchesIn( field, box ).front();
  for ( const TernaryBits & match : matchesIn( field, rule ) )
    if ( ( value & match.mask ) == match.value ) {
      setMatches(
          box, field.id,
          std::vector< TernaryBits >{ { own.value | match.value, own.mask | match.mask } } );
      return true;
    }
  return false;
}

std::string decider( const MeaningRow * row ) {
  if ( row == nullptr )
    return "";
  return row->isDefault() ? "default of " + row->acl->name
                          : fmt::format( "rule {} of {}", row->index + 1, row->acl->name );
}

std::string packetsText( AclKind kind, AclRule rule ) {
  rule.name.clear();
  const std::string text = matchText( kind, rule );
  return text == "any" ? anyPacket : text;
}

// The rows for packets of one fate in the old version and another one in the new.
class RowMaker {
 public:
  RowMaker( const Space & space, const Meaning & before, const Meaning & after )
      : space_( space ), before_( before ), after_( after ) {
    plain_.kind = space.kind();
  }

  // At most `rowsMax`. False: there are more packets.
  bool make( const PacketSet & differs, size_t rowsMax, std::vector< DifferenceRow > & rows ) {
    PacketSet rest = differs;
    while ( !rest.empty() && rows.size() < rowsMax ) {
      rows.push_back( rowFor( space_.example( rest ), differs ) );
      rest -= rows.back().packets;
    }
    return rest.empty();
  }

 private:
  DifferenceRow rowFor( const PacketPoint & packet, const PacketSet & differs ) {
    const MeaningRow * const oldRow = before_.deciding( packet );
    const MeaningRow * const newRow = after_.deciding( packet );
    DifferenceRow row;
    row.example = packet;
    row.oldRule = decider( oldRow );
    row.newRule = decider( newRow );
    fill( row, oldRow, newRow );
    for ( const auto & [ meaning, version ] :
          { std::pair( &before_, "old" ), std::pair( &after_, "new" ) } )
      leaveOut( row, *meaning, version, differs );
    return row;
  }

  // What both rules match.
  void fill( DifferenceRow & row, const MeaningRow * oldRow, const MeaningRow * newRow ) const {
    row.packets = space_.all();
    std::optional< AclRule > box = AclRule();
    std::string apart;
    for ( const MeaningRow * decides : { oldRow, newRow } ) {
      if ( decides == nullptr )
        continue;
      row.packets &= decides->matched;
      const std::string text = packetsText( space_.kind(), *decides->rule );
      if ( apart.empty() || apart == anyPacket )
        apart = text;
      else if ( text != anyPacket && text != apart )
        apart += " and " + text;
      for ( const MatchField & field : matchFields() )
        if ( box && field.isIn( space_.kind() ) && restricts( field, *decides->rule ) &&
             !narrow( field, row.example, *decides->rule, *box ) )
          box.reset();
    }
    const PacketSet boxed = box ? space_.matchedBy( plain_, *box ) : PacketSet();
    const bool fits = row.packets.contains( boxed ) && space_.holds( boxed, row.example );
    row.text = fits ? packetsText( space_.kind(), *box ) : apart;
    if ( fits )
      row.packets = boxed;
  }

  // Takes out what earlier rules match, as far as that has other fates.
  static void leaveOut( DifferenceRow & row, const Meaning & meaning, const char * version,
                        const PacketSet & differs ) {
    PacketSet others = row.packets - differs;
    const Acl * acl = nullptr;
    std::vector< U32 > rules;
    const auto add = [ & ] {
      if ( !rules.empty() )
        row.except.push_back(
            fmt::format( "{} of {} {}", numberedRules( rules ), version, acl->name ) );
      rules.clear();
    };
    for ( const MeaningRow & earlier : meaning.rows() ) {
      if ( others.empty() )
        break;
      if ( acl != earlier.acl )
        add();
      acl = earlier.acl;
      // The row's own rule and those after it hold the example.
      if ( earlier.matched.meets( others ) ) {
        if ( decider( &earlier ) == ( version[ 0 ] == 'o' ? row.oldRule : row.newRule ) )
          break;
        rules.push_back( earlier.index );
        row.packets -= earlier.matched;
        others -= earlier.matched;
      }
    }
    add();
  }

  const Space & space_;
  const Meaning & before_;
  const Meaning & after_;
  Acl plain_;
};

}  // namespace

void TableDifference::forgetSets() {
  for ( DifferenceRow & row : rows )
    row.packets = row.before.sharing = row.after.sharing = {};
}

TableDifference differenceOf( const Space & space, const Meaning & before, const Meaning & after,
                              size_t rowsMax ) {
  TableDifference difference;
  RowMaker maker( space, before, after );
  const auto newFates = after.fates();
  for ( const auto & [ oldFate, oldPackets ] : before.fates() )
    for ( const auto & [ newFate, newPackets ] : newFates ) {
      if ( oldFate == newFate )
        continue;
      std::vector< DifferenceRow > rows;
      if ( !maker.make( oldPackets & newPackets, rowsMax - difference.rows.size(), rows ) )
        difference.more = true;
      for ( DifferenceRow & row : rows ) {
        row.before = oldFate;
        row.after = newFate;
        difference.rows.push_back( std::move( row ) );
      }
    }
  return difference;
}

}  // namespace Agent
