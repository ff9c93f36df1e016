// Steps on groups and shared objects: fields, range checkers, policers, VLANs.

#include <algorithm>

#include "morvane/AclType.h"
#include "tools/random-walk/Walk.h"

namespace Test::RandomWalk {

// --- Groups ----------------------------------------------------------------------------------

std::string Walk::compress( const Turn & turn ) {
  static constexpr Code ignored[] = { { SdkOp::bcm_field_group_compress, BCM_E_NOT_FOUND, {}, 0 } };
  if ( mayUse( turn ) )
    attempt( turn, { .codes = ignored },
             [ & ] { sw_.manager( turn.user.assignment ).compressEntries( turn.unit ); } );
  return "";
}

std::string Walk::ask( const Turn & turn ) {
  static constexpr Code full[] = { { SdkOp::bcm_field_group_config_create, BCM_E_RESOURCE } };
  if ( !mayUse( turn ) )
    return "";
  U32 free = 0;
  attempt( turn, { .codes = full }, [ & ] {
    free = turn.action.b % 3 == 0
               ? sw_.groups->entriesAvailable( turn.unit, turn.user.group )
               : sw_.manager( turn.user.assignment ).entriesAvailable( turn.unit );
  } );
  return turn.action.b % 3 != 0 && turn.user.size != 0 && free > turn.user.size
             ? "more room than the range has"
             : "";
}

// Takes and releases references on a group.
std::string Walk::group( const Turn & turn ) {
  // A mirroring group has one reference at most.
  if ( !mayUse( turn ) || isMirroring( turn.user ) )
    return "";
  const U32 unit = turn.unit, group = turn.user.group;
  Step calm;
  const bool first = turn.action.b % 2 == 0;
  const Turn quiet{ turn.action, turn.user, unit, turn.step == nullptr ? nullptr : &calm };
  // The copies of a group that did not fit are released too.
  if ( attempt( first ? turn : quiet, { .allOfGroup = true },
                [ & ] { sw_.groups->initializeGroup( unit, group ); } ) )
    attempt( first ? quiet : turn, { .left = Left::after },
             [ & ] { sw_.groups->uninitializeGroup( unit, group ); } );
  return "";
}

// --- User-defined fields ---------------------------------------------------------------------

U32 Walk::udfUses( const Turn & turn, U8 offset ) const {
  const S32 id = sw_.manager( turn.user.assignment )
                     .getMirroringAclUdf( turn.unit, Acl::ip(), 0, UdfBaseL2HeaderEnd, offset, 4 );
  const auto carried = sw_.groups->groupIdToMirroringAclUdf( static_cast< U8 >( turn.user.group ) );
  return id < 0 ? 0 : carried->udfQualId( udfQualKey( turn.unit, id ) );
}

// Adds or removes a rule with a user-defined field.
std::string Walk::udf( const Turn & turn ) {
  static constexpr Code full[] = {
      { SdkOp::bcm_field_data_qualifier_create, BCM_E_RESOURCE },
      { SdkOp::bcm_field_data_qualifier_packet_format_add, BCM_E_RESOURCE },
      { .op = SdkOp::bcm_field_group_set, .rc = BCM_E_RESOURCE, .pipe = 0, .first = true } };
  const bool besideFirst =
      turn.step != nullptr || first_.unit != turn.unit || first_.group != turn.user.group;
  if ( !mayUse( turn ) || !isMirroring( turn.user ) || !besideFirst )
    return "";
  MorvaneTcamEntryManager & manager = sw_.manager( turn.user.assignment );
  if ( !sw_.groups->groupExists( turn.unit, turn.user.group ) &&
       !manager.initializeGroup( turn.unit ) )
    return "";
  const U8 offset = static_cast< U8 >( 8 + turn.action.a % 3 * 4 );
  const bool add = turn.action.b % 3 != 0;
  const U32 before = udfUses( turn, offset );
  U32 expected = add ? before + 1 : std::max( before, 1U ) - 1;
  GroupUdfCreateStatus status = udfCreateFailure;
  const Terms terms{ .left = add ? Left::either : Left::after, .codes = full, .allOfGroup = true };
  const bool done = attempt( turn, terms, [ & ] {
    status =
        manager
            .setMirroringAclUdf( turn.unit, Acl::ip(), 0x0800, UdfBaseL2HeaderEnd, offset, 4, add )
            .udfCreateStatus;
  } );
  // An exception during a rebuild destroys the group.
  const bool rebuilt = done ? status == udfCreateSuccessWithGroupRecreate ||
                                  status == udfCreateFailureWithGroupRecreateFailure
                            : !sw_.groups->groupExists( turn.unit, turn.user.group );
  if ( rebuilt )
    std::erase_if( units_[ turn.unit ].rules, [ & ]( const auto & rule ) {
      return rule.second.user->group == turn.user.group;
    } );
  if ( rebuilt )
    expected = 0;
  else if ( add && ( !done || status != udfCreateSuccessNoGroupRecreate ) )
    expected = before;  // it did not fit
  return udfUses( turn, offset ) == expected ? "" : "counts other uses of a field";
}

// --- Range checkers --------------------------------------------------------------------------

namespace {

// Six intervals for four checkers.
RangeCheckerDesc interval( const Action & action ) {
  return { action.a % 3, 5, 1 + action.b % 2 };
}

}  // namespace

std::string Walk::checkUsers( const Turn & turn, const RangeCheckerDesc & desc ) const {
  // A release counts in the model before it waits for the other activity.
  if ( sw_.second.arrived() )
    return "";
  const auto data = sw_.groups->rangeChecker( desc );
  const auto & users = units_[ turn.unit ].checkers;
  const auto live = users.find( desc );
  return ( data ? data->unitRefCount( turn.unit ) : 0 ) ==
                 ( live == users.end() ? 0 : live->second )
             ? ""
             : "counts other users of a range checker";
}

std::string Walk::getChecker( const Turn & turn ) {
  static constexpr Code full[] = { { SdkOp::bcm_field_range_create, BCM_E_RESOURCE } };
  const RangeCheckerDesc desc = interval( turn.action );
  std::map< RangeCheckerDesc, U32 > & checkers = units_[ turn.unit ].checkers;
  const auto hasRoom = [ & ] {
    return checkers.contains( desc ) || checkers.size() < sw_.chip.rangeCheckers;
  };
  const bool before = hasRoom();
  U32 id = 0;
  if ( !attempt( turn, { .codes = full },
                 [ & ] { id = sw_.groups->getRangeChecker( turn.unit, desc ); } ) )
    return checkUsers( turn, desc );
  // The other activity may have got or released one during the call.
  const bool now = hasRoom();
  if ( id == 0 && before && now && !codeFired_ )
    return "refused a checker that there is";
  if ( id != 0 && ( codeFired_ || ( !before && !now ) ) )
    return "got one checker too many";
  if ( id != 0 )
    ++checkers[ desc ];
  else if ( !sw_.groups->rangeCheckersExhausted( turn.unit ) && !sw_.second.arrived() )
    return "has no checker left and does not say so";
  return checkUsers( turn, desc );
}

std::string Walk::releaseChecker( const Turn & turn ) {
  const RangeCheckerDesc desc = interval( turn.action );
  std::map< RangeCheckerDesc, U32 > & checkers = units_[ turn.unit ].checkers;
  if ( !mayUse( turn ) || !checkers.contains( desc ) )
    return "";
  if ( --checkers[ desc ] == 0 )
    checkers.erase( desc );
  attempt( turn, { .left = Left::after },
           [ & ] { sw_.groups->releaseRangeChecker( turn.unit, desc ); } );
  return checkUsers( turn, desc );
}

// --- Policers --------------------------------------------------------------------------------

void Walk::changePolicer( const Turn & turn, U32 policer ) {
  bcm_policer_config_t limits = { 0, bcmPolicerModeCommitted, 1 + turn.action.a % 9, 1, 0, 0 };
  const auto change = [ & ] {
    sw_.groups->setPolicer( turn.unit, policer, reinterpret_cast< U8 * >( &limits ) );
  };
  // An exception leaves the old limits; the call is repeated.
  if ( !attempt( turn, { .left = Left::either }, change ) )
    change();
}

std::string Walk::police( const Turn & turn ) {
  if ( !mayUse( turn ) )
    return "";
  UnitModel & model = units_[ turn.unit ];
  std::vector< U32 > & all = model.policers;
  const U32 at = turn.action.b % ( sw_.chip.policers / 2 );
  if ( at >= all.size() ) {
    bcm_policer_config_t limits = { 0, bcmPolicerModeCommitted, 1 + turn.action.a % 9, 1, 0, 0 };
    U32 policer = 0;
    if ( attempt( turn, {}, [ & ] {
           policer = sw_.groups->createPolicer( turn.unit, reinterpret_cast< U8 * >( &limits ) );
         } ) )
      all.push_back( policer );
  } else if ( turn.action.a % 3 == 0 ) {
    changePolicer( turn, all[ at ] );
  } else if ( const U32 policer = all[ at ]; !model.limits( policer ) ) {
    all.erase( all.begin() + at );
    attempt( turn, { .left = Left::after },
             [ & ] { sw_.groups->removePolicer( turn.unit, policer ); } );
  }
  return "";
}

// --- VLANs -----------------------------------------------------------------------------------

// An exception in an observer is reported, not passed on.
std::string Walk::bitmap( const Turn & turn ) {
  attempt( turn, { .left = Left::either, .inSteps = true }, [ & ] {
    sw_.untag( turn.unit, changingVlans[ turn.action.a % std::size( changingVlans ) ],
               turn.action.b );
  } );
  return "";
}

}  // namespace Test::RandomWalk
