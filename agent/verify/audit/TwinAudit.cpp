// Twins of the outer-VLAN workaround: their rules, derived from the entry's rule on the chip and
// the untagged-port bitmaps, and the map by VLAN.
#include <algorithm>

#include "agent/verify/audit/UnitAudit.h"

namespace Audit {

namespace {

const SoftAsic::QualifierView * qualifierOf( const SoftAsic::RuleView & rule, U32 qualifier ) {
  const auto found = std::find_if( rule.qualifiers.begin(), rule.qualifiers.end(),
                                   [ & ]( const auto & q ) { return q.qualifier == qualifier; } );
  return found == rule.qualifiers.end() ? nullptr : &*found;
}

SoftAsic::RuleView without( SoftAsic::RuleView rule, std::initializer_list< U32 > qualifiers ) {
  std::erase_if( rule.qualifiers, [ & ]( const SoftAsic::QualifierView & q ) {
    return std::find( qualifiers.begin(), qualifiers.end(), q.qualifier ) != qualifiers.end();
  } );
  return rule;
}

bool admits( const SoftAsic::QualifierView * ports, U32 port ) {
  if ( ports == nullptr || port / 64 >= ports->mask.size() )
    return true;
  const U64 bit = U64{ 1 } << ( port % 64 );
  return ( ports->mask[ port / 64 ] & bit ) == 0 || ( ports->value[ port / 64 ] & bit ) != 0;
}

}  // namespace

bool UnitAudit::isTwin( const EntryManager & owner, const Morvane::PipeCopy & at ) const {
  return at.pipe != 0 && manager_.ovidWar( owner.group() );
}

// VLANs whose untagged packets an installed entry matches through its twin.
std::vector< U16 > UnitAudit::vlansOf( const SoftAsic::EntryView & first ) {
  std::vector< U16 > vlans;
  const auto * match = qualifierOf( first.effective, bcmFieldQualifyOuterVlanId );
  if ( match == nullptr || match->value[ 0 ] == 0 )
    return vlans;
  for ( U16 vlan = 1; vlan <= Morvane::vlanIdMask; ++vlan )
    if ( ( vlan & match->mask[ 0 ] ) == match->value[ 0 ] )
      vlans.push_back( vlan );
  return vlans;
}

void UnitAudit::auditTwin( const EntryManager & owner, const EntryRecords & records,
                           const SoftAsic::EntryView & twin, const SoftAsic::EntryView & first ) {
  const std::vector< U16 > vlans = vlansOf( first );
  if ( records.ovidTwinHas( first.id ) != !vlans.empty() )
    report( "the twin of entry {:#x} is recorded as {}in use", first.id,
            vlans.empty() ? "" : "not " );
  if ( first.installed && records.ovidTwinIdle( first.id ) != vlans.empty() )
    report( "the twin of entry {:#x} is {}idle", first.id, vlans.empty() ? "not " : "" );
  for ( const U16 vlan : vlans )
    twins_[ vlan ].emplace( first.id, &owner );
  if ( pending_.unsettled( twin.id ) )
    return;
  if ( !vlans.empty() )
    auditTwinRule( records, vlans, twin, first );
  else if ( twin.effective != first.effective )
    report( "the idle twin of entry {:#x} holds another rule", first.id );
}

void UnitAudit::auditTwinRule( const EntryRecords & records, const std::vector< U16 > & vlans,
                               const SoftAsic::EntryView & twin,
                               const SoftAsic::EntryView & first ) {
  const auto changed = { U32{ bcmFieldQualifyOuterVlanId }, U32{ bcmFieldQualifyInPorts } };
  if ( without( twin.effective, changed ) != without( first.effective, changed ) )
    report( "the twin of entry {:#x} holds another rule", first.id );
  if ( twin.pending != twin.effective )
    report( "the twin of entry {:#x} is not qualified as it is installed", first.id );
  const auto * vlan = qualifierOf( twin.effective, bcmFieldQualifyOuterVlanId );
  if ( vlan == nullptr || vlan->value[ 0 ] != 0 || vlan->mask[ 0 ] != Morvane::vlanIdMask )
    report( "the twin of entry {:#x} does not match VLAN 0", first.id );
  const auto * own = qualifierOf( first.effective, bcmFieldQualifyInPorts );
  const auto * narrowed = qualifierOf( twin.effective, bcmFieldQualifyInPorts );
  const U32 ports = chip_.profile( unit_ ).ports();
  for ( U32 port = 0; port < ports; ++port ) {
    if ( admits( narrowed, port ) != records.entryInPorts( twin.id ).data.has( port ) )
      report( "the twin of entry {:#x} is recorded with other ports, as port {}", first.id, port );
    if ( admits( narrowed, port ) != ( admits( own, port ) && untagged( vlans, port ) ) )
      report( "the twin of entry {:#x} is wrong on port {}", first.id, port );
  }
}

bool UnitAudit::untagged( const std::vector< U16 > & vlans, U32 port ) const {
  const auto & directory = manager_.ovidWarSm()->directory();
  return directory && std::any_of( vlans.begin(), vlans.end(), [ & ]( U16 vlan ) {
           return directory->ovidUtBitmap( { unit_, vlan } ).has( port );
         } );
}

// Port bitmaps are undefined for a VLAN whose last change failed.
void UnitAudit::auditTwinMap() {
  const auto & warSm = manager_.ovidWarSm();
  std::map< U16, std::map< U32, const EntryManager * > > mapped;
  if ( warSm ) {
    for ( auto it = warSm->ovidEntriesIterConst(); it; ++it ) {
      if ( it.key().unit != unit_ )
        continue;
      if ( it.member()->managerSize() == 0 )
        report( "VLAN {} is mapped to nothing", U32{ it.key().ovid } );
      for ( auto entry = it.member()->managerIterConst(); entry; ++entry )
        mapped[ it.key().ovid ].emplace( entry.key(), entry.value().rawPtr_ );
    }
  }
  for ( const auto & [ vlan, entries ] : mapped )
    for ( const auto & [ entry, manager ] : entries )
      if ( const auto found = twins_[ vlan ].find( entry ); found == twins_[ vlan ].end() )
        report( "VLAN {} is mapped to entry {:#x}, which does not match it", U32{ vlan }, entry );
      else if ( found->second != manager )
        report( "VLAN {} is mapped to entry {:#x} of another manager", U32{ vlan }, entry );
  for ( const auto & [ vlan, entries ] : twins_ )
    for ( const auto & [ entry, manager ] : entries )
      if ( !mapped[ vlan ].contains( entry ) )
        report( "VLAN {} is not mapped to entry {:#x}, which matches it", U32{ vlan }, entry );
}

}  // namespace Audit
