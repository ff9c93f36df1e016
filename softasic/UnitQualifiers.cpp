// Entry qualifiers of a unit. See Rule.h for the chip rules.
#include "softasic/Unit.h"

namespace SoftAsic {

namespace {

U64 macBits( const bcm_mac_t & mac ) {
  U64 bits = 0;
  for ( const U8 byte : mac.b )
    bits = bits << 8 | byte;
  return bits;
}

// The port bitmap qualifier that the group uses.
bcm_field_qualify_t portsQualifier( const Group & group ) {
  return group.config().qset.has( bcmFieldQualifyInPorts ) ? bcmFieldQualifyInPorts
                                                           : bcmFieldQualifyInPortsClass;
}

}  // namespace

// Calls edit( rule, layout, field ) if the group has the qualifier.
template < class F >
int Unit::editField( U32 entryId, bcm_field_qualify_t qualifier, F && edit ) {
  Entry * entry = entries_.find( entryId );
  if ( entry == nullptr )
    return BCM_E_NOT_FOUND;
  const U32 field = static_cast< U32 >( fieldIndex( qualifier ) );
  const KeyLayout & layout = entry->group->layout();
  return layout.has( field ) ? edit( Entries::edit( *entry ), layout, field ) : BCM_E_PARAM;
}

int Unit::qualify( U32 entryId, bcm_field_qualify_t qualifier, U64 value, U64 mask ) {
  return editField(
      entryId, qualifier,
      [ & ]( Rule & rule, const KeyLayout & layout, U32 field ) {
        return rule.set( layout, field, value, mask );
      } );
}

int Unit::bcm_field_qualify_InPorts( bcm_field_entry_t id, bcm_pbmp_t data, bcm_pbmp_t mask ) {
  const Entry * entry = entries_.find( id );
  if ( entry == nullptr )
    return BCM_E_NOT_FOUND;
  return editField( id, portsQualifier( *entry->group ),
                    [ & ]( Rule & rule, const KeyLayout & layout, U32 field ) -> int {
                      rule.setPorts( layout, field, data, mask );
                      return BCM_E_NONE;
                    } );
}

int Unit::bcm_field_qualify_InPorts_get( bcm_field_entry_t id, bcm_pbmp_t * data,
                                         bcm_pbmp_t * mask ) {
  const Entry * entry = entries_.find( id );
  if ( entry == nullptr )
    return BCM_E_NOT_FOUND;
  const KeyLayout & layout = entry->group->layout();
  if ( data == nullptr || mask == nullptr || layout.portWords() == 0 )
    return BCM_E_PARAM;
  entry->pending->ports( layout, *data, *mask );
  return BCM_E_NONE;
}

int Unit::bcm_field_qualify_InPort( bcm_field_entry_t entry, bcm_port_t data, std::uint32_t mask ) {
  return qualify( entry, bcmFieldQualifyInPort, data, mask );
}

int Unit::bcm_field_qualify_OutPort( bcm_field_entry_t entry, bcm_port_t data,
                                     std::uint32_t mask ) {
  return qualify( entry, bcmFieldQualifyOutPort, data, mask );
}

int Unit::bcm_field_qualify_OuterVlanId( bcm_field_entry_t entry, bcm_vlan_t data,
                                         bcm_vlan_t mask ) {
  return qualify( entry, bcmFieldQualifyOuterVlanId, data, mask );
}

int Unit::bcm_field_qualify_OuterVlanId_get( bcm_field_entry_t id, bcm_vlan_t * data,
                                             bcm_vlan_t * mask ) {
  const Entry * entry = entries_.find( id );
  if ( entry == nullptr )
    return BCM_E_NOT_FOUND;
  const U32 field = static_cast< U32 >( fieldIndex( bcmFieldQualifyOuterVlanId ) );
  const KeyLayout & layout = entry->group->layout();
  if ( data == nullptr || mask == nullptr || !layout.has( field ) )
    return BCM_E_PARAM;
  *data = static_cast< bcm_vlan_t >( entry->pending->value( layout, field ) );
  *mask = static_cast< bcm_vlan_t >( entry->pending->mask( layout, field ) );
  return BCM_E_NONE;
}

int Unit::bcm_field_qualify_InnerVlanId( bcm_field_entry_t entry, bcm_vlan_t data,
                                         bcm_vlan_t mask ) {
  return qualify( entry, bcmFieldQualifyInnerVlanId, data, mask );
}

int Unit::bcm_field_qualify_OuterVlanPri( bcm_field_entry_t entry, std::uint8_t data,
                                          std::uint8_t mask ) {
  return qualify( entry, bcmFieldQualifyOuterVlanPri, data, mask );
}

int Unit::bcm_field_qualify_SrcMac( bcm_field_entry_t entry, bcm_mac_t data, bcm_mac_t mask ) {
  return qualify( entry, bcmFieldQualifySrcMac, macBits( data ), macBits( mask ) );
}

int Unit::bcm_field_qualify_DstMac( bcm_field_entry_t entry, bcm_mac_t data, bcm_mac_t mask ) {
  return qualify( entry, bcmFieldQualifyDstMac, macBits( data ), macBits( mask ) );
}

int Unit::bcm_field_qualify_EtherType( bcm_field_entry_t entry, std::uint16_t data,
                                       std::uint16_t mask ) {
  return qualify( entry, bcmFieldQualifyEtherType, data, mask );
}

int Unit::bcm_field_qualify_IpType( bcm_field_entry_t entry, bcm_field_IpType_t type ) {
  return editField(
      entry, bcmFieldQualifyIpType,
      [ & ]( Rule & rule, const KeyLayout & layout, U32 ) {
        return rule.setIpType( layout, type );
      } );
}

int Unit::bcm_field_qualify_SrcIp( bcm_field_entry_t entry, std::uint32_t data,
                                   std::uint32_t mask ) {
  return qualify( entry, bcmFieldQualifySrcIp, data, mask );
}

int Unit::bcm_field_qualify_DstIp( bcm_field_entry_t entry, std::uint32_t data,
                                   std::uint32_t mask ) {
  return qualify( entry, bcmFieldQualifyDstIp, data, mask );
}

int Unit::bcm_field_qualify_SrcIp6( bcm_field_entry_t entry, bcm_ip6_t data, bcm_ip6_t mask ) {
  return editField(
      entry, bcmFieldQualifySrcIp6,
      [ & ]( Rule & rule, const KeyLayout & layout, U32 field ) -> int {
        rule.setWide( layout, field, data.b, mask.b );
        return BCM_E_NONE;
      } );
}

int Unit::bcm_field_qualify_DstIp6( bcm_field_entry_t entry, bcm_ip6_t data, bcm_ip6_t mask ) {
  return editField(
      entry, bcmFieldQualifyDstIp6,
      [ & ]( Rule & rule, const KeyLayout & layout, U32 field ) -> int {
        rule.setWide( layout, field, data.b, mask.b );
        return BCM_E_NONE;
      } );
}

int Unit::bcm_field_qualify_IpProtocol( bcm_field_entry_t entry, std::uint8_t data,
                                        std::uint8_t mask ) {
  return qualify( entry, bcmFieldQualifyIpProtocol, data, mask );
}

int Unit::bcm_field_qualify_DSCP( bcm_field_entry_t entry, std::uint8_t data, std::uint8_t mask ) {
  return qualify( entry, bcmFieldQualifyDSCP, data, mask );
}

int Unit::bcm_field_qualify_Ttl( bcm_field_entry_t entry, std::uint8_t data, std::uint8_t mask ) {
  return qualify( entry, bcmFieldQualifyTtl, data, mask );
}

int Unit::bcm_field_qualify_IpFrag( bcm_field_entry_t entry, bcm_field_IpFrag_t frag ) {
  return editField(
      entry, bcmFieldQualifyIpFrag,
      [ & ]( Rule & rule, const KeyLayout & layout, U32 ) {
        return rule.setIpFrag( layout, frag );
      } );
}

int Unit::bcm_field_qualify_L4SrcPort( bcm_field_entry_t entry, std::uint16_t data,
                                       std::uint16_t mask ) {
  return qualify( entry, bcmFieldQualifyL4SrcPort, data, mask );
}

int Unit::bcm_field_qualify_L4DstPort( bcm_field_entry_t entry, std::uint16_t data,
                                       std::uint16_t mask ) {
  return qualify( entry, bcmFieldQualifyL4DstPort, data, mask );
}

int Unit::bcm_field_qualify_TcpControl( bcm_field_entry_t entry, std::uint8_t data,
                                        std::uint8_t mask ) {
  return qualify( entry, bcmFieldQualifyTcpControl, data, mask );
}

int Unit::bcm_field_qualify_IcmpTypeCode( bcm_field_entry_t entry, std::uint16_t data,
                                          std::uint16_t mask ) {
  return qualify( entry, bcmFieldQualifyIcmpTypeCode, data, mask );
}

int Unit::bcm_field_qualify_RangeCheck( bcm_field_entry_t entry, bcm_field_range_t range,
                                        int invert ) {
  return editField(
      entry, bcmFieldQualifyRangeCheck,
      [ & ]( Rule & rule, const KeyLayout & layout, U32 ) -> int {
        const RangeUse checker = ranges_.find( range );
        if ( checker == nullptr )
          return BCM_E_NOT_FOUND;
        rule.setRange( layout, checker, invert != 0 );
        return BCM_E_NONE;
      } );
}

int Unit::bcm_field_qualify_data( bcm_field_entry_t id, int qual_id, const std::uint8_t * data,
                                  const std::uint8_t * mask, std::uint16_t length ) {
  Entry * entry = entries_.find( id );
  bcm_field_data_qualifier_s record = {};
  if ( entry == nullptr || data_.get( qual_id, &record ) < 0 )
    return BCM_E_NOT_FOUND;
  const KeyLayout & layout = entry->group->layout();
  const DataField * field = layout.data( static_cast< U32 >( qual_id ) );
  if ( field == nullptr || data == nullptr || mask == nullptr || length != record.length )
    return BCM_E_PARAM;
  Entries::edit( *entry ).setData( layout, *field, data, mask );
  return BCM_E_NONE;
}

}  // namespace SoftAsic
