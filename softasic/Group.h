// A group: entries with the same qualifier set, in one instance of one stage.
//
// Chip rules
// - The qualifier set selects the stage: StageLookup the VFP, StageEgress the EFP, StageIngress or
//   none the IFP; BCM_E_PARAM for more than one. BCM_E_UNAVAIL if the chip lacks the stage, the
//   stage lacks a qualifier, data qualifiers are used outside the IFP, or no wide mode fits the
//   key. BCM_E_NOT_FOUND for unknown data qualifiers.
// - Flags: WITH_ID takes the given id (BCM_E_EXISTS if in use); otherwise the chip takes the lowest
//   free number from 1 up, in the first instance. WITH_PORT restricts the group to packets from
//   `ports`, which must be in the pipe of its instance (BCM_E_PORT). WITH_MODE takes `mode`: mode 4
//   (per copy) requires the flag PER_COPY and an ingress group on a chip with a second copy
//   (BCM_E_UNAVAIL). An id with the copy bit requires that mode (BCM_E_PARAM). LARGE: see
//   SlicePool.h. Entries are ordered by priority with or without MANAGED_PRIO.
// - `preselset`: BCM_E_NOT_FOUND for unknown preselectors. If the set is not empty, only packets
//   that match one of its preselectors are looked up in the group.
// - The action resolution id is ignored: actions resolve by group priority.
// - A group owns at least one slice. Destroy returns BCM_E_BUSY while the group has entries.
// - The qualifier set can be changed in place: entries keep their rules and rows. BCM_E_PARAM if
//   the stage changes. BCM_E_UNAVAIL, on chips with fixed group keys, if the key gets wider than at
//   creation. BCM_E_BUSY if a pending or installed rule uses a removed qualifier. BCM_E_RESOURCE if
//   the key no longer fits the group's slices in their wide mode. A narrower key keeps the wide
//   mode. A failed change leaves the group unchanged.
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

  // True if a rule uses a qualifier that the layout lacks.
  bool usesMoreThan( const KeyLayout & layout ) const;
  // Converts all rules to the layout, which has every qualifier they use.
  void setQualifiers( const bcm_field_qset_t & qset, KeyLayout layout );

  // Serial number for entryRank().
  U64 nextSerial() { return serial_++; }

  // Adds the entry to the lookup or removes it. Rank and rule must not change while it is in there.
  void index( Entry & entry );
  void unindex( Entry & entry );

  // Best match; null: none. The caller checks ports and preselectors.
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
