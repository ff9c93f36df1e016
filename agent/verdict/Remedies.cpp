#include "agent/verdict/Remedies.h"

#include <fmt/format.h>

#include <algorithm>

#include "agent/feature/AclShares.h"
#include "agent/text/TextTable.h"
#include "softasic/KeyLayout.h"

namespace Agent {

namespace {

std::optional< U64 > missing( U64 needed, U64 free ) {
  return needed > free ? std::optional( needed - free ) : std::nullopt;
}

std::string counted( U64 count, const char * one, const char * several ) {
  return fmt::format( "{} {}", countText( count ), count == 1 ? one : several );
}

U64 checkersNeeded( const Shortfall & at ) {
  CheckerModel all = at.before;
  listCost( at.platform, at.acl, all, false );
  return all.taken().size();
}

std::optional< U64 > missingCheckers( const Shortfall & at ) {
  if ( at.choice.method != PortMethod::checkers )
    return std::nullopt;
  return missing( checkersNeeded( at ), at.platform.chip.rangeCheckers );
}

// How many checkers the chip could have more, as far as the group's key has room for them.
U32 checkersToAdd( const Shortfall & at ) {
  const U32 has = at.platform.chip.rangeCheckers;
  return has < SoftAsic::rangeCheckersMax
             ? std::min( SoftAsic::rangeCheckersMax - has, at.left.spareKeyBits )
             : 0;
}

const Platform::ReservationData & shareAt( const Shortfall & at ) {
  return *shareOf( at.platform, classOf( at.acl ) );
}

bool usesFields( const Shortfall & at ) {
  return at.cost.userFields != 0;
}

std::string moreSlices( const Shortfall & at, U64 entries ) {
  if ( at.left.entriesPerSlice == 0 )
    return fmt::format( "slices for {} more entries", countText( entries ) );
  const U64 slices = ( entries + at.left.entriesPerSlice - 1 ) / at.left.entriesPerSlice;
  return fmt::format( "{} of {} rows", counted( slices, "more slice", "more slices" ),
                      countText( at.left.sliceDepth ) );
}

// Everything that is missing. Empty if that is not known, because the fields of a list can make its
// group's key too wide or so wide that fewer entries fit than before, or if no chip has it.
std::string allThatIsMissing( const Shortfall & at ) {
  const U64 needed = at.cost.entries;
  std::vector< std::string > parts;
  if ( const auto more = missing( needed, at.left.entries.chip ) ) {
    if ( usesFields( at ) )
      return "";
    parts.push_back( moreSlices( at, *more ) );
  }
  if ( const auto more = missing( needed, at.left.entries.share ) )
    parts.push_back( fmt::format( "a share of {} entries in place of {}",
                                  countText( shareAt( at ).size + *more ),
                                  countText( shareAt( at ).size ) ) );
  if ( const auto more = missing( needed, at.left.statistics ) )
    parts.push_back( counted( *more, "more statistic", "more statistics" ) );
  if ( const auto more = missingCheckers( at ) ) {
    if ( *more > checkersToAdd( at ) )
      return "";
    parts.push_back( counted( *more, "more range checker", "more range checkers" ) );
  }
  if ( const auto more = missing( at.cost.policers, at.left.policers ) )
    parts.push_back( counted( *more, "more policer", "more policers" ) );
  if ( at.cost.userFields > at.left.udfChunks )
    return "";
  return fmt::format( "{}", fmt::join( parts, " and " ) );
}

// Whether nothing else is missing if the lists that fit and this one get these checkers, in this
// order, as when all are programmed again.
bool fitsWith( const Shortfall & at, CheckerModel checkers ) {
  CheckerModel had( at.platform.chip.rangeCheckers, at.choice );
  U64 saved = 0;  // by lists of the same class
  U64 more = 0;
  for ( const Acl * acl : at.fitting ) {
    const U64 was = listCost( at.platform, *acl, had, false ).entries;
    const U64 now = listCost( at.platform, *acl, checkers, false ).entries;
    const bool same = classOf( *acl ) == classOf( at.acl );
    if ( now > was && !same )
      return false;  // what that takes from this list is not known
    saved += same && was > now ? was - now : 0;
    more += now > was ? now - was : 0;
  }
  const U64 entries = listCost( at.platform, at.acl, checkers, false ).entries;
  const U64 left = std::min< U64 >( at.left.entries.entries(), at.left.statistics );
  return entries + more <= left + saved && at.cost.policers <= at.left.policers;
}

// The fewest more checkers that are enough; empty: no number of them is. More checkers never cost
// entries, unless the key becomes too wide.
std::string moreCheckers( const Shortfall & at ) {
  const U32 has = at.platform.chip.rangeCheckers;
  const auto fits = [ & ]( U32 more ) {
    return fitsWith( at, CheckerModel( has + more, at.choice ) );
  };
  U32 enough = checkersToAdd( at );
  if ( enough == 0 || !fits( enough ) )
    return "";
  for ( U32 tooFew = 0; enough - tooFew > 1; ) {
    const U32 middle = ( tooFew + enough ) / 2;
    ( fits( middle ) ? enough : tooFew ) = middle;
  }
  return counted( enough, "more range checker", "more range checkers" );
}

bool fitsWithPorts( const Shortfall & at, PortMethod method ) {
  const RangeChoice choice = rangeChoice( method, at.platform, at.lists );
  return fitsWith( at, CheckerModel( at.platform.chip.rangeCheckers, choice ) );
}

}  // namespace

std::optional< U64 > shortBy( const Shortfall & at ) {
  switch ( at.shortage.resource ) {
    case AclResource::entries:
      return missing( at.cost.entries, at.left.entries.share );
    case AclResource::slices:
      return missing( at.cost.entries, at.left.entries.chip );
    case AclResource::statistics:
      return missing( at.cost.entries, at.left.statistics );
    case AclResource::rangeCheckers:
      return missingCheckers( at );
    case AclResource::policers:
      return missing( at.cost.policers, at.left.policers );
    case AclResource::udfQualifiers:
      return missing( at.cost.userFields, at.left.udfChunks );
    case AclResource::keyBits:
      return std::nullopt;
  }
  return std::nullopt;
}

std::vector< std::string > remedies( const Shortfall & at ) {
  std::vector< std::string > all;
  const auto add = [ & ]( const std::string & remedy ) {
    if ( !remedy.empty() )
      all.push_back( remedy );
  };
  add( allThatIsMissing( at ) );
  if ( matchesRanges( at.platform, shareAt( at ) ) ) {
    if ( at.choice.method < PortMethod::automatic && fitsWithPorts( at, PortMethod::automatic ) )
      add( "--ports auto" );
    else if ( at.choice.method != PortMethod::best && fitsWithPorts( at, PortMethod::best ) )
      add( "--ports best" );
    if ( at.choice.method == PortMethod::automatic )
      add( moreCheckers( at ) );
  }
  if ( at.shortage.fitting != 0 )
    add( counted( at.acl.rules.size() - at.shortage.fitting, "rule fewer", "rules fewer" ) );
  return all;
}

}  // namespace Agent
