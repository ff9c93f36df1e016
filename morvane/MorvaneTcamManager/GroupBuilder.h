// Builds the hardware copies of one group on one unit.
//
//   GroupBuilder builder( manager, unit, group );
//   builder.makeQualifierSet();      // also decides stageIngress( group )
//   builder.prepare();               // configuration and port sets
//   for each copy: builder.create( copy )
//
// A copy that does not fit leaves nothing behind; earlier copies stay. Internal: only the group
// manager uses it.
#pragma once

#include "morvane/MorvaneTcamGroupManager.h"

namespace Morvane {

// ACL types of a mirroring group.
namespace Acl {
constexpr S32 ip() {
  return 0;
}
constexpr S32 ip6() {
  return 1;
}
constexpr S32 mac() {
  return 2;
}
}  // namespace Acl

class GroupBuilder {
 public:
  GroupBuilder( MorvaneTcamGroupManager & manager, U32 unit, U32 group )
      : manager_( manager ), unit_( unit ), group_( group ) {}

  // The group's list, then the chip type's excludes and includes, then the chip's own adjustments.
  void makeQualifierSet();
  // Reads the port sets and fills in what all copies have in common.
  void prepare();
  // Creates one copy. False when hardware has no room; any other failure ends the process.
  bool create( const PipeCopy & at );

  const bcm_field_qset_t & qualifierSet() const { return qset_; }

 private:
  const U32 * qualifierList() const;
  const U32 * mirroringList() const;
  void addFromList( const U32 * qualifiers );
  void noteQualifier( U32 qualifier );
  void correctForChipType();
  void adjustForUnit();
  bcm_field_group_config_t configFor( const PipeCopy & at ) const;
  void createPreselector( const PipeCopy & at, bcm_field_group_config_t & config );
  bool createInHardware( bcm_field_group_config_t & groupConfig );
  bool placedByPort() const;
  bool preselects() const;
  bool keepsTwins() const;
  void undo( const PipeCopy & at, bool wasOvidWar );

  MorvaneTcamGroupManager & manager_;
  const U32 unit_;
  const U32 group_;
  bcm_field_qset_t qset_ = {};
  bcm_field_group_config_t common_ = {};
  bcm_port_config_t portConfig_ = {};
  // Wants a large slice first, and is tried again without one.
  bool largeSlice_ = true;
  bool matchesNoPort_ = true;
  bool matchesOuterVlan_ = false;
  // The copy under creation has stored its preselector.
  bool preselectorMade_ = false;
};

}  // namespace Morvane
