// Preselectors: conditions on a packet's source that choose whether a group is looked up.
//
// Chip rules
// - A unit has at most 128; ids are given lowest first. None free: -14. A chip without any: -16.
// - A preselector has a stage and a source condition: the ingress port is in `ports`, and its class
//   equals the data under the mask. What is not qualified does not restrict. Both can be changed
//   while groups use the preselector; the change counts from the next packet on.
// - One that a group answers to cannot be destroyed: -10.
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
  // These two take the id without BCM_FIELD_QUALIFY_PRESEL.
  int qualifyStage( U32 id, bcm_field_stage_t stage );
  int qualifySource( U32 id, const bcm_pbmp_t & ports, U32 classData, U32 classMask );

  // Whether every preselector of the set exists.
  bool exist( const bcm_field_presel_set_t & set ) const;
  // A group begins or ends to answer to the set, all of which exist.
  void use( const bcm_field_presel_set_t & set );
  void unuse( const bcm_field_presel_set_t & set );

  // Whether one of the set matches a packet from `port` in a stage.
  bool matches( const bcm_field_presel_set_t & set, StageKind stage, U32 port,
                const Ports & ports ) const;

  std::vector< PreselView > views() const;

 private:
  bool known( U32 id ) const { return id < count_ && presels_[ id ].has_value(); }

  U32 count_;
  std::array< std::optional< PreselView >, BCM_FIELD_PRESEL_MAX > presels_;
};

}  // namespace SoftAsic
