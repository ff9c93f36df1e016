// A flow-programming group on one unit and its data qualifiers. Internal.
#pragma once

#include <span>
#include <vector>

#include "morvane/MorvaneTcamGroupManager.h"
#include "morvane/MorvaneTcamManager/GroupLife.h"
#include "morvane/MorvaneTcamManager/Udf/Qualifiers.h"

namespace Morvane {

// Where the fields of a flow-programming group are, bytes from the start of the L3 header.
// `plain`: past that header; otherwise inside VXLAN.
KIV_API std::span< const U8 > flowFieldOffsets( bool plain, U8 ipProto );

class FlowGroup {
 public:
  // Asserts that the group is of one of the two kinds.
  FlowGroup( MorvaneTcamGroupManager & manager, U32 unit, U32 group );

  // Takes one more reference, or creates the group. False when it does not fit: then the log
  // message is raised, and the rollback undoes the rest.
  bool acquire( Rollback & rollback, GroupReferences & taken );
  // Removes the group's qualifiers on the unit from the records and adds their destruction.
  void dropQualifiers( Release & release );

 private:
  bool make( Rollback & rollback, GroupReferences & taken );
  bool createQualifiers( Rollback & rollback );
  bool createQualifier( DataQualifier * udfQual, U32 i, Rollback & rollback );
  void record( S32 qualId, U8 offset, Rollback & rollback );
  void forget( U32 key );
  std::vector< DataQualifier > qualifiers() const;

  std::span< const U8 > offsets() const;
  UdfUnitSpec spec( U32 key ) const;
  void specIs( U32 key, const UdfUnitSpec & spec );

  MorvaneTcamGroupManager & manager_;
  const U32 unit_;
  const U32 group_;
  const bool plain_;  // past the L3 header; otherwise inside VXLAN
  Kiv::Ptr< GroupUdfQual > carried_;
};

}  // namespace Morvane
