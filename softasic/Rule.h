// Qualifiers and actions of an entry.
//
// A rule is stored as value and mask over the group's key words. Entries share rules (the copies of
// an entry in all pipes have the same one), so a shared rule is immutable: Entries copies it before
// a write.
//
// Chip rules
// - Setting a qualifier again replaces it. Value bits outside the mask and mask bits outside the
//   field are ignored. BCM_E_PARAM for a value bit inside the mask but outside the field.
// - A zero mask restricts nothing and requires no header. A restricted field matches only packets
//   with the whole header of the field: IPv4 addresses IPv4, L4 ports TCP and UDP, TCP flags TCP,
//   ICMP type and code ICMP and ICMPv6, VLAN fields tagged packets and those treated as
//   priority-tagged (Pipeline.h).
// - Port bitmap (InPorts and its class form): a port in the mask matches if it is in the value; a
//   port outside the mask always matches. Ports that the chip lacks are ignored.
// - IpType and IpFrag restrict by enumerator; IpType Any does not restrict. IpFrag matches IP
//   packets only.
// - A range check requires the checker's result and its field (RangeCheckers.h). Setting a checker
//   again replaces its sense; different checkers accumulate.
// - Data qualifiers compare value and mask. A non-zero mask requires the whole field to be in the
//   packet (DataQualifiers.h).
// - A rule has each action once: adding it again replaces its parameters. BCM_E_CONFIG for drop and
//   permit in one rule.
#pragma once

#include <vector>

#include "softasic/Inspection.h"
#include "softasic/RangeCheckers.h"

namespace SoftAsic {

class Rule {
 public:
  // Matches every packet and has no actions.
  explicit Rule( U32 words ) : words_( size_t{ 2 } * words ) {}

  // Qualifiers. `field`: index into keyFields() of a field in the layout.
  int set( const KeyLayout & layout, U32 field, U64 value, U64 mask );
  void setWide( const KeyLayout & layout, U32 field, const U8 ( &value )[ 16 ],
                const U8 ( &mask )[ 16 ] );
  void setPorts( const KeyLayout & layout, U32 field, const bcm_pbmp_t & value,
                 const bcm_pbmp_t & mask );
  int setIpType( const KeyLayout & layout, bcm_field_IpType_t type );
  int setIpFrag( const KeyLayout & layout, bcm_field_IpFrag_t frag );
  void setRange( const KeyLayout & layout, const RangeUse & checker, bool invert );
  // `value` and `mask` have the field's length; the layout has the field.
  void setData( const KeyLayout & layout, const DataField & field, const U8 * value,
                const U8 * mask );
  void clearQualifiers();

  // The rule in another layout, which must have all its fields.
  Rule convert( const KeyLayout & from, const KeyLayout & to ) const;

  // True if the rule has a qualifier for the field.
  bool has( U32 field ) const { return ( present_ >> field & 1U ) != 0; }
  bool hasData( const DataField & field ) const {
    return ( dataChunks_ >> field.chunks.front() & 1U ) != 0;
  }

  const std::vector< RangeUse > & ranges() const { return ranges_; }
  U64 value( const KeyLayout & layout, U32 field ) const;  // for fields of at most 64 bits
  U64 mask( const KeyLayout & layout, U32 field ) const;
  void ports( const KeyLayout & layout, bcm_pbmp_t & value, bcm_pbmp_t & mask ) const;

  // Actions
  int addAction( const ActionView & action );
  // BCM_E_NOT_FOUND for an action that the rule does not have.
  int removeAction( bcm_field_action_t action );
  void clearActions() { actions_.clear(); }
  const std::vector< ActionView > & actions() const { return actions_; }

  // The layout's stored words: values, then masks.
  const U64 * key() const { return words_.data(); }

  RuleView view( const KeyLayout & layout ) const;

 private:
  void write( const KeyLayout & layout, const FieldPlace & field, U64 value, U64 mask );
  void finish( const KeyLayout & layout, U32 field );
  void setMeta( const KeyLayout & layout, U64 value, U64 mask );
  bool restricts( const KeyLayout & layout, U32 field ) const;
  QualifierView viewField( const KeyLayout & layout, U32 field ) const;
  DataMatchView viewData( const KeyLayout & layout, const DataField & field ) const;
  U32 size() const { return static_cast< U32 >( words_.size() / 2 ); }

  U32 present_ = 0;  // bit by field
  U8 ipType_ = bcmFieldIpTypeAny;
  U8 ipFrag_ = bcmFieldIpFragNon;
  U16 dataChunks_ = 0;  // bit by chunk of the data qualifiers in use
  std::vector< U64 > words_;
  std::vector< ActionView > actions_;
  std::vector< RangeUse > ranges_;
};

}  // namespace SoftAsic
