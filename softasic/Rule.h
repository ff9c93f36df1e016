// One rule: what an entry matches on and what it does.
//
// A rule is stored as the group's key words, value and mask. Rules are shared between entries (the
// copies of one entry in all pipes hold one rule) and therefore never changed once shared: Entries
// makes a copy before it writes.
//
// Chip rules
// - Setting a qualifier again replaces it. Bits of the value outside the mask are dropped; so are
//   mask bits outside the field. A value bit under the mask outside the field: -4.
// - A mask of zero restricts nothing and demands no header. A restricted field matches only packets
//   that have the whole header which it comes from: IPv4 addresses IPv4 packets, L4 ports packets
//   with a TCP or UDP header, TCP flags TCP only, ICMP type and code ICMP and ICMPv6, VLAN fields
//   tagged packets, and those that pass for tagged (Pipeline.h).
// - Port bitmap (InPorts and its class form): a port in the mask matches when it is in the value;
//   a port outside the mask matches always. Ports that the chip lacks are dropped.
// - IpType and IpFrag restrict by enumerator; Any restricts IpType not at all. IpFrag matches IP
//   packets only.
// - A range check demands the checker's answer, and the field that it looks at (RangeCheckers.h).
//   Setting the same checker again replaces its sense; others add up.
// - The bytes of a data qualifier are compared under the mask. A mask that is not all zero demands
//   that the packet has the whole value (DataQualifiers.h).
// - A rule holds an action once: adding it again replaces its parameters. Drop and permit exclude
//   each other: -15.
#pragma once

#include <vector>

#include "softasic/Inspection.h"
#include "softasic/RangeCheckers.h"

namespace SoftAsic {

class Rule {
 public:
  // A rule without qualifiers, which matches every packet, and without actions.
  explicit Rule( U32 words ) : words_( size_t{ 2 } * words ) {}

  // Qualifiers. `field` is a place in keyFields() that the layout has.
  int set( const KeyLayout & layout, U32 field, U64 value, U64 mask );
  void setWide( const KeyLayout & layout, U32 field, const U8 ( &value )[ 16 ],
                const U8 ( &mask )[ 16 ] );
  void setPorts( const KeyLayout & layout, U32 field, const bcm_pbmp_t & value,
                 const bcm_pbmp_t & mask );
  int setIpType( const KeyLayout & layout, bcm_field_IpType_t type );
  int setIpFrag( const KeyLayout & layout, bcm_field_IpFrag_t frag );
  void setRange( const KeyLayout & layout, const RangeUse & checker, bool invert );
  // As many bytes each as the field has; the layout has the field.
  void setData( const KeyLayout & layout, const DataField & field, const U8 * value,
                const U8 * mask );
  void clearQualifiers();

  // The same rule for another layout, which has every field that the rule sets.
  Rule relaid( const KeyLayout & from, const KeyLayout & to ) const;

  // Whether the qualifier of a field is set.
  bool has( U32 field ) const { return ( present_ >> field & 1U ) != 0; }
  bool hasData( const DataField & field ) const {
    return ( dataChunks_ >> field.chunks.front() & 1U ) != 0;
  }
  // The range checkers that the rule uses.
  const std::vector< RangeUse > & ranges() const { return ranges_; }
  U64 value( const KeyLayout & layout, U32 field ) const;  // of a field of at most 64 bits
  U64 mask( const KeyLayout & layout, U32 field ) const;
  void ports( const KeyLayout & layout, bcm_pbmp_t & value, bcm_pbmp_t & mask ) const;

  // Actions
  int addAction( const ActionView & action );
  void clearActions() { actions_.clear(); }
  const std::vector< ActionView > & actions() const { return actions_; }

  // The key: values, then masks, as many words each as the layout stores.
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
  U16 dataChunks_ = 0;  // bit by chunk of the data qualifiers that are set
  std::vector< U64 > words_;
  std::vector< ActionView > actions_;
  std::vector< RangeUse > ranges_;
};

}  // namespace SoftAsic
