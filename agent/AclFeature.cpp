#include "agent/AclFeature.h"

#include <fmt/core.h>

#include <algorithm>

#include "shim/SdkCall.h"
#include "softasic/QualifierNames.h"

namespace Agent {

const char * resourceName( AclResource resource ) {
  switch ( resource ) {
    case AclResource::entries:
      return "entries";
    case AclResource::slices:
      return "slices";
    case AclResource::statistics:
      return "statistics";
  }
  return "unknown";
}

AclFeature::AclFeature( Morvane::MorvaneTcamGroupManager & groupManager, U32 unit )
    : groupManager_( groupManager ),
      manager_( groupManager.entryManager( Morvane::ipAclTcamGroup ) ),
      unit_( unit ) {}

std::string AclFeature::platformFault( const Platform::PlatformData & platform ) {
  const auto user = std::find_if(
      platform.reservations.begin(), platform.reservations.end(),
      []( const auto & r ) { return r.assignment == Morvane::ipAclTcamGroup && r.size != 0; } );
  if ( user == platform.reservations.end() )
    return "no reservation with a size is for ipAclTcamGroup";
  const Platform::GroupData & group = *platform.group( user->group );
  const auto in = []( const std::vector< U32 > & list, U32 qualifier ) {
    return std::find( list.begin(), list.end(), qualifier ) != list.end();
  };
  for ( const U32 qualifier :
        { bcmFieldQualifyIpType, bcmFieldQualifySrcIp, bcmFieldQualifyDstIp,
          bcmFieldQualifyIpProtocol, bcmFieldQualifyL4SrcPort, bcmFieldQualifyL4DstPort,
          bcmFieldQualifyTcpControl, bcmFieldQualifyIcmpTypeCode } ) {
    const bool has = ( in( group.qualifiers, qualifier ) && !in( group.excludes, qualifier ) ) ||
                     in( group.includes, qualifier );
    if ( !has )
      return fmt::format( "group {} of ipAclTcamGroup cannot match {}", group.id,
                          SoftAsic::qualifierName( qualifier ) );
  }
  return {};
}

std::optional< AclShortage > AclFeature::addAcl( const Acl & acl, const CompiledAcl & compiled ) {
  const auto index = static_cast< U32 >( acls_.size() );
  acls_.emplace_back();
  const auto firstEntry = static_cast< U32 >( owners_.size() );
  for ( U32 rule = 0; rule < compiled.size(); ++rule ) {
    const std::string desc =
        fmt::format( "{} rule {} line {}", acl.name, rule, acl.rules[ rule ].line );
    if ( const auto resource =
             addRule( compiled[ rule ], Kiv::String8( desc.c_str() ), { index, rule } ) ) {
      rollBack( firstEntry );
      acls_.back().clear();
      return AclShortage{ rule, *resource };
    }
  }
  return std::nullopt;
}

std::optional< AclResource > AclFeature::addRule( const std::vector< EntryMatch > & entries,
                                                  const Kiv::String8 & desc,
                                                  const RuleIndex & index ) {
  const U32 first = manager_->baseEntry() + static_cast< U32 >( owners_.size() );
  for ( const EntryMatch & match : entries ) {
    if ( const auto resource = addEntry( match, bcmFieldActionPermit, desc, { index } ) )
      return resource;
  }
  acls_.back().push_back( { first, static_cast< U32 >( entries.size() ) } );
  return std::nullopt;
}

std::optional< AclResource > AclFeature::addDenyRest() {
  return addEntry( EntryMatch(), bcmFieldActionDrop, "implicit deny", {} );
}

std::optional< AclResource > AclFeature::addEntry( const EntryMatch & match,
                                                   bcm_field_action_t action,
                                                   const Kiv::String8 & desc,
                                                   const EntryOwner & owner ) {
  const U32 unit = unit_;
  const U32 wanted = manager_->baseEntry() + static_cast< U32 >( owners_.size() );
  if ( wanted == manager_->endEntry() )
    return AclResource::entries;
  const U32 entryId = manager_->getEntry( unit, wanted, desc );
  if ( entryId == 0 )
    return shortage();
  owners_.push_back( owner );
  qualify( entryId, match );
  SDK_CHECKED( bcm_field_action_add( unit, entryId, action, 0, 0 ) );
  manager_->installEntry( unit, entryId );
  return std::nullopt;
}

// A group that still has room for an entry had none for its counters.
AclResource AclFeature::shortage() {
  // Refused, but not for lack of room: the id is taken.
  if ( !manager_->exhausted( unit_ ) )
    return AclResource::entries;
  return groupManager_.entriesAvailable( unit_, group() ) == 0 ? AclResource::slices
                                                               : AclResource::statistics;
}

void AclFeature::rollBack( U32 firstEntry ) {
  while ( owners_.size() > firstEntry ) {
    owners_.pop_back();
    manager_->releaseEntry( unit_, manager_->baseEntry() + static_cast< U32 >( owners_.size() ) );
  }
}

void AclFeature::qualify( U32 entryId, const EntryMatch & match ) {
  const U32 unit = unit_;
  SDK_CHECKED( bcm_field_qualify_IpType( unit, entryId, bcmFieldIpTypeIpv4Any ) );
  if ( match.sourceIp.mask != 0 )
    SDK_CHECKED(
        bcm_field_qualify_SrcIp( unit, entryId, match.sourceIp.value, match.sourceIp.mask ) );
  if ( match.destinationIp.mask != 0 )
    SDK_CHECKED( bcm_field_qualify_DstIp( unit, entryId, match.destinationIp.value,
                                          match.destinationIp.mask ) );
  if ( match.protocol.mask != 0 )
    SDK_CHECKED(
        bcm_field_qualify_IpProtocol( unit, entryId, match.protocol.value, match.protocol.mask ) );
  qualifyL4( entryId, match );
}

void AclFeature::qualifyL4( U32 entryId, const EntryMatch & match ) {
  const U32 unit = unit_;
  if ( match.sourcePort.mask != 0 )
    SDK_CHECKED( bcm_field_qualify_L4SrcPort( unit, entryId, match.sourcePort.value,
                                              match.sourcePort.mask ) );
  if ( match.destinationPort.mask != 0 )
    SDK_CHECKED( bcm_field_qualify_L4DstPort( unit, entryId, match.destinationPort.value,
                                              match.destinationPort.mask ) );
  if ( match.tcpFlags.mask != 0 )
    SDK_CHECKED(
        bcm_field_qualify_TcpControl( unit, entryId, match.tcpFlags.value, match.tcpFlags.mask ) );
  if ( match.icmpTypeCode.mask != 0 )
    SDK_CHECKED( bcm_field_qualify_IcmpTypeCode( unit, entryId, match.icmpTypeCode.value,
                                                 match.icmpTypeCode.mask ) );
}

std::optional< EntryOwner > AclFeature::ownerOf( U32 entryId ) const {
  const U32 entry = Morvane::tcamNumberBits.get( entryId );
  const U32 offset = entry - manager_->baseEntry();
  if ( entry < manager_->baseEntry() || offset >= owners_.size() )
    return std::nullopt;
  return owners_[ offset ];
}

// Bytes are read copy by copy: the library sums packets, but reads bytes of one hardware entry.
RuleCounters AclFeature::counters( const RuleIndex & index ) {
  RuleCounters sum;
  if ( !manager_->allocateStatsPerEntry() || index.rule >= acls_[ index.acl ].size() )
    return sum;
  const RuleEntries entries = acls_[ index.acl ][ index.rule ];
  for ( U32 entry = entries.first; entry < entries.first + entries.count; ++entry ) {
    sum.packets += manager_->hitsForEntry( unit_, entry );
    for ( const Morvane::PipeCopy at : groupManager_.pipeCopies( unit_, group() ) )
      sum.bytes += manager_->byteHitsForEntry( unit_, at.entryId( entry ) );
  }
  return sum;
}

}  // namespace Agent
