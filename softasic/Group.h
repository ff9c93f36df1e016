// A group: a set of entries that match on the same qualifiers, in one instance of one stage.
//
// Chip rules
// - The stage follows from the qualifier set: StageLookup means VFP, StageEgress EFP, StageIngress
//   or none IFP; more than one: -4. A stage that the chip lacks, a qualifier that the stage cannot
//   match, data qualifiers outside the IFP, or a key that fits in no wide mode: -16. Unknown data
//   qualifiers: -7.
// - Flags: WITH_ID takes the given id (in use: -8), else the chip takes the lowest free number from
//   1 on, in the first instance. WITH_PORT limits the group to packets from `ports`, which must
//   belong to the pipe of its instance (-18). WITH_MODE takes `mode`: mode 4 (per copy) goes with
//   the flag PER_COPY, on ingress groups of chips with a second copy only (-16). An id with the
//   copy bit needs that mode (-4). LARGE: SlicePool.h. Entries are ordered by priority with
//   MANAGED_PRIO and without it.
// - `preselset`: unknown preselectors: -7. A group with a set that is not empty is looked up only
//   for packets that match one of its members.
// - The action resolution id is not used: actions resolve by group priority.
// - A group has one slice from its creation on. It cannot be destroyed while it has entries (-10).
// - The qualifier set of a group that lives can be changed in place; entries keep their rules, and
//   rows stay where they are. The stage must stay (-4). A key wider than the group was
//   created with: -16 on a chip whose group keys are fixed. A qualifier that goes must be in no
//   entry's rule, as it stands or as installed (-10). A key too wide for the slices that the group
//   has, in its wide mode: -14. A narrower key keeps the wide mode. Refused, nothing has changed.
#pragma once

#include "softasic/KeyLayout.h"
#include "softasic/RowAllocator.h"
#include "softasic/StageTables.h"
#include "softasic/TernaryIndex.h"

namespace SoftAsic {

class Group {
 public:
  Group( const bcm_field_group_config_t & config, StageTable & table, const SliceDemand & demand,
         KeyLayout layout )
      : config_( config ),
        table_( table ),
        layout_( std::move( layout ) ),
        keyBitsAtCreation_( demand.keyBits ),
        rows_( table.pool, demand, table.moves ),
        index_( layout_.size() ) {}

  U32 id() const { return config_.group; }
  const bcm_field_group_config_t & config() const { return config_; }
  StageTable & table() const { return table_; }
  const KeyLayout & layout() const { return layout_; }
  U32 keyBitsAtCreation() const { return keyBitsAtCreation_; }
  RowAllocator & rows() { return rows_; }
  const RowAllocator & rows() const { return rows_; }

  // Whether an entry's rule sets something that is not in the layout.
  bool needsMoreThan( const KeyLayout & layout ) const;
  // Lays every entry's rule out anew; none needs more than the layout has.
  void setQualifiers( const bcm_field_qset_t & qset, KeyLayout layout );

  // Number of the next entry that is created in the group.
  U64 nextSerial() { return serial_++; }

  // Makes an entry matchable, or not; its rank and rule stay as they are while it is.
  void index( Entry & entry );
  void unindex( Entry & entry );

  // The entry that a packet matches, null when none does. Ports and preselectors are the caller's.
  Entry * lookup( const PacketKey & key ) const;

 private:
  template < class F >
  void forEachRule( F && fn ) const;

  bcm_field_group_config_t config_;
  StageTable & table_;
  KeyLayout layout_;
  U32 keyBitsAtCreation_;
  RowAllocator rows_;
  TernaryIndex index_;
  U64 serial_ = 0;
};

}  // namespace SoftAsic
