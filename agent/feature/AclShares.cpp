#include "agent/feature/AclShares.h"

#include <fmt/core.h>

#include <algorithm>

#include "softasic/QualifierNames.h"

namespace Agent {

namespace {

using Platform::GroupData;
using Platform::PlatformData;
using Platform::ReservationData;

bool isMirroring( const ReservationData & share ) {
  return share.assignment >= Morvane::mirroringAclTcamGroup1 &&
         share.assignment <= Morvane::mirroringAclTcamGroup4;
}

const ReservationData * find( const PlatformData & platform,
                              Morvane::TcamGroupAssignment assignment ) {
  const auto share =
      std::find_if( platform.reservations.begin(), platform.reservations.end(),
                    [ & ]( const auto & r ) { return r.assignment == assignment && r.size != 0; } );
  return share == platform.reservations.end() ? nullptr : &*share;
}

const ReservationData * findMirroring( const PlatformData & platform, AclKind kind ) {
  U32 passOver = kind == AclKind::mac ? 1 : 0;
  for ( const ReservationData & share : platform.reservations )
    if ( isMirroring( share ) && share.size != 0 && passOver-- == 0 )
      return &share;
  return nullptr;
}

bool has( const std::vector< U32 > & list, U32 qualifier ) {
  return std::find( list.begin(), list.end(), qualifier ) != list.end();
}

// Mirroring groups use the library's qualifier sets, which cover all fields of lists of the kind,
// unless the chip lacks a qualifier.
bool groupMatches( const PlatformData & platform, const ReservationData & share, U32 qualifier ) {
  const GroupData & group = *platform.group( share.group );
  const bool listed = isMirroring( share ) || has( group.qualifiers, qualifier );
  return ( listed && !has( group.excludes, qualifier ) ) || has( group.includes, qualifier );
}

bool matches( const PlatformData & platform, const ReservationData & share,
              const MatchField & field ) {
  return groupMatches( platform, share, field.qualifier ) ||
         ( field.id == FieldId::inPorts && groupMatches( platform, share, bcmFieldQualifyInPort ) );
}

ListFault missing( const PlatformData & platform, const ReservationData & share,
                   const std::string & what, U32 qualifier ) {
  return { 0, fmt::format( "platform {} cannot match {} ({}) in group {} of {}", platform.name,
                           what, SoftAsic::qualifierName( qualifier ), share.group,
                           enumName( share.assignment ) ) };
}

std::optional< ListFault > ruleFault( const PlatformData & platform, const ReservationData & share,
                                      const Acl & acl, const AclRule & rule ) {
  if ( acl.kind != AclKind::mac && !groupMatches( platform, share, bcmFieldQualifyIpType ) )
    return missing( platform, share, "IP packets", bcmFieldQualifyIpType );
  for ( const MatchField * field : matchedFields( acl, rule ) )
    if ( !matches( platform, share, *field ) )
      return missing( platform, share, field->name, field->qualifier );
  if ( !rule.udf.empty() && isMirroring( share ) && !share.mirroringAclUdf )
    return ListFault{ 0, fmt::format( "{} has no user-defined fields on this platform",
                                      enumName( share.assignment ) ) };
  if ( !rule.udf.empty() && isMirroring( share ) && platform.chip.fixedGroupKeys &&
       !platform.chip.groupByPreselector )
    return ListFault{ 0, "this chip cannot widen a mirroring group for a new field" };
  return std::nullopt;
}

// A flow-programming group has its fields even if no rule uses them.
bool usesFields( const Acl & acl ) {
  return acl.use == AclUse::flow || acl.use == AclUse::flowVxlan ||
         std::any_of(
             acl.rules.begin(), acl.rules.end(),
             []( const AclRule & rule ) { return !rule.udf.empty(); } );
}

}  // namespace

const ReservationData * shareOf( const PlatformData & platform, AclKind kind, AclUse use ) {
  switch ( use ) {
    case AclUse::filter:
      return find( platform, kind == AclKind::ipv4   ? Morvane::ipAclTcamGroup
                             : kind == AclKind::ipv6 ? Morvane::ip6AclTcamGroup
                                                     : Morvane::macAclTcamGroup );
    case AclUse::mirror:
      return findMirroring( platform, kind );
    case AclUse::flow:
      return find( platform, Morvane::openFlowUdfTcamGroup );
    case AclUse::flowVxlan:
      return find( platform, Morvane::openFlowVxlanUdfTcamGroup );
  }
  return nullptr;
}

bool matchesRanges( const PlatformData & platform, const ReservationData & share ) {
  return !isMirroring( share ) && platform.chip.rangeCheckers != 0 &&
         !platform.chipInfo.excludeRangeChecks &&
         groupMatches( platform, share, bcmFieldQualifyRangeCheck );
}

PortKey portKey( const PlatformData & platform, const ReservationData & share ) {
  return groupMatches( platform, share, bcmFieldQualifyInPorts ) ? PortKey::bitmap
                                                                 : PortKey::number;
}

std::optional< ListFault > listFault( const PlatformData & platform, const Acl & acl ) {
  const ReservationData * share = shareOf( platform, acl.kind, acl.use );
  if ( share == nullptr )
    return ListFault{ 0, fmt::format( "the platform has no share for lists of type {} and use {}",
                                      kindName( acl.kind ), useName( acl.use ) ) };
  if ( usesFields( acl ) && platform.chip.dataChunks == 0 )
    return ListFault{ 0, "this chip cannot match user-defined fields" };
  if ( acl.mirrorPort && *acl.mirrorPort >= platform.chip.ports() )
    return ListFault{ acl.mirrorPortLine,
                      fmt::format( "mirror port {}: {} has the ports 0 to {}", *acl.mirrorPort,
                                   platform.name, platform.chip.ports() - 1 ) };
  for ( const AclRule & rule : acl.rules )
    if ( auto fault = ruleFault( platform, *share, acl, rule ) )
      return fault;
  return std::nullopt;
}

}  // namespace Agent
