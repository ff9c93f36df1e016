// Preselectors: conditions on a packet's source that enable the lookup in a group.
//
// Chip rules
// - At most 128 per unit, lowest free id first. BCM_E_RESOURCE if none is free, BCM_E_UNAVAIL if
//   the chip has none.
// - A preselector has a stage and a source condition: the ingress port is in `ports` and its class
//   matches data and mask. Conditions that are not set do not restrict. Both can be changed while
//   in use; changes apply from the next packet on.
// - BCM_E_BUSY for destroying a preselector that is in a group's set.
#pragma once

#include <array>
#include <optional>
#include <vector>

#include "softasic/Inspection.h"
#include "softasic/Ports.h"

namespace SoftAsic {

class Presels {
 public:
  explicit Presels( U32 count ) : count_( count ) {}

  int create( U32 * id );
  int destroy( U32 id );
  // `id` is without BCM_FIELD_QUALIFY_PRESEL.
  int qualifyStage( U32 id, bcm_field_stage_t stage );
  int qualifySource( U32 id, const bcm_pbmp_t & ports, U32 classData, U32 classMask );

  // True if all preselectors of the set exist.
  bool exist( const bcm_field_presel_set_t & set ) const;
  // Reference counting by groups. All preselectors of the set must exist.
  void use( const bcm_field_presel_set_t & set );
  void unuse( const bcm_field_presel_set_t & set );

  // True if a preselector of the set matches.
  bool matches( const bcm_field_presel_set_t & set, StageKind stage, U32 port,
                const Ports & ports ) const;

  std::vector< PreselView > views() const;

 private:
  bool known( U32 id ) const { return id < count_ && presels_[ id ].has_value(); }

  U32 count_;
  std::array< std::optional< PreselView >, BCM_FIELD_PRESEL_MAX > presels_;
};

}  // namespace SoftAsic
