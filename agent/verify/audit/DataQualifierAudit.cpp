// Data qualifiers: records of user-defined fields against the chip.
#include "agent/verify/audit/UnitAudit.h"

namespace Audit {

using Morvane::GroupUdfQual;
using Morvane::UdfUnitSpec;

namespace {

// Total uses of a qualifier in the groups of one kind.
template < class Groups >
U32 usesIn( Groups groups, U32 key ) {
  U32 uses = 0;
  for ( ; groups; ++groups )
    uses += groups.member()->udfQualId( key );
  return uses;
}

}  // namespace

void UnitAudit::auditDataQualifiers() {
  std::map< U32, SoftAsic::DataQualifierView > onChip;
  for ( SoftAsic::DataQualifierView & view : chip_.dataQualifiers( unit_ ) )
    onChip.emplace( static_cast< U32 >( view.record.qual_id ), std::move( view ) );

  std::set< U32 > owned;
  const auto auditKind = [ & ]( auto specs, const auto & groups ) {
    for ( ; specs; ++specs ) {
      const UdfUnitSpec & spec = specs.value();
      if ( Morvane::udfUnitBits.get( specs.key() ) != unit_ )
        continue;
      if ( const U32 uses = usesIn( groups(), specs.key() ); spec.refCount != uses )
        report( "data qualifier {} has {} uses, its groups count {}", spec.qualId, spec.refCount,
                uses );
      const auto qualifier = onChip.find( static_cast< U32 >( spec.qualId ) );
      if ( specs.key() != Morvane::udfQualKey( spec.unit, spec.qualId ) )
        report( "data qualifier {} is recorded as {:#x}", spec.qualId, specs.key() );
      else if ( qualifier == onChip.end() )
        report( "data qualifier {} is not on the chip", spec.qualId );
      else
        auditDataQualifier( spec, qualifier->second );
      owned.insert( specs.key() );
    }
  };
  const auto mirroring = [ & ] { return manager_.groupIdToMirroringAclUdfIterConst(); };
  const auto plain = [ & ] { return manager_.groupIdToOpenFlowAclUdfIterConst(); };
  const auto vxlan = [ & ] { return manager_.groupIdToOpenFlowVxlanAclUdfIterConst(); };
  auditKind( manager_.ipMirroringAclUdfIterConst(), mirroring );
  auditKind( manager_.macMirroringAclUdfIterConst(), mirroring );
  auditKind( manager_.openFlowAclUdfIterConst(), plain );
  auditKind( manager_.openFlowVxlanAclUdfIterConst(), vxlan );

  for ( const auto & [ id, view ] : onChip )
    if ( !owned.contains( Morvane::udfQualKey( unit_, static_cast< S32 >( id ) ) ) &&
         !pending_.qualifiers.contains( id ) )
      report( "data qualifier {} belongs to nobody", id );
  for ( auto it = mirroring(); it; ++it )
    auditQualifiersOf( it.key(), *it.member(), owned );
  for ( auto it = plain(); it; ++it )
    auditQualifiersOf( it.key(), *it.member(), owned );
  for ( auto it = vxlan(); it; ++it )
    auditQualifiersOf( it.key(), *it.member(), owned );
}

void UnitAudit::auditDataQualifier( const UdfUnitSpec & spec,
                                    const SoftAsic::DataQualifierView & onChip ) {
  const auto & record = onChip.record;
  if ( record.offset_base != bcmFieldDataOffsetBaseOuterL3Header || record.offset != spec.offset ||
       record.length != spec.length )
    report( "data qualifier {} is at base {} offset {} length {}, recorded is offset {} length {}",
            spec.qualId, record.offset_base, record.offset, record.length, spec.offset,
            spec.length );
  const bool byEthType = spec.base == Morvane::UdfBaseL2HeaderEnd && spec.ethType != 0xFFFFFFFF;
  if ( onChip.formats.size() != ( byEthType ? 0 : 1 ) ||
       onChip.etherTypes.size() != ( byEthType ? 1 : 0 ) ||
       ( byEthType && onChip.etherTypes[ 0 ].ethertype != ( spec.ethType & 0xFFFF ) ) )
    report( "data qualifier {} applies to other packets than it should", spec.qualId );
}

// Every copy of the group has the recorded qualifiers in its set.
void UnitAudit::auditQualifiersOf( U32 groupId, const GroupUdfQual & used,
                                   const std::set< U32 > & owned ) {
  for ( auto it = used.udfQualIdIterConst(); it; ++it ) {
    if ( Morvane::udfUnitBits.get( it.key() ) != unit_ )
      continue;
    const U32 id = Morvane::udfQualIdBits.get( it.key() );
    if ( !owned.contains( it.key() ) )
      report( "group {:#x} uses data qualifier {}, which is not recorded", groupId, id );
    for ( const auto & [ pipeGroup, group ] : groups_ )
      if ( Morvane::tcamNumberBits.get( pipeGroup ) == groupId && !group.qset.hasData( id ) )
        report( "group {:#x} lacks data qualifier {}", pipeGroup, id );
  }
}

}  // namespace Audit
