// Makes one flow-programming group on one unit: its data qualifiers, then the group that matches on
// them. Internal.
#pragma once

#include <span>

#include "morvane/MorvaneTcamGroupManager.h"

namespace Morvane {

class OpenFlowGroup {
 public:
  // What is taken is noted in `taken`.
  OpenFlowGroup( MorvaneTcamGroupManager & manager, U32 unit, U32 group, GroupReferences & taken );

  // One more reference, or the whole group. When it does not fit, or an SDK call throws, nothing
  // is left behind and nothing taken.
  bool create();
  // Destroys the group's qualifiers on the unit.
  void destroyQualifiers();

 private:
  bool make();
  bool exists() const;
  bool createQualifiers();
  bool createQualifier( struct DataQualifier * udfQual, U32 i );
  void record( S32 qualId, U8 offset );
  void undo();

  std::span< const U8 > offsets() const;
  void specIs( U32 key, const UdfUnitSpec & spec );
  void specDel( U32 key );

  MorvaneTcamGroupManager & manager_;
  const U32 unit_;
  const U32 group_;
  GroupReferences & taken_;
  const bool plain_;  // beyond the L3 header; otherwise inside VXLAN
  Kiv::Ptr< GroupUdfQual > carried_;
};

}  // namespace Morvane
