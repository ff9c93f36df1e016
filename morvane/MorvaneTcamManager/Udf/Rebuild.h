// Rebuilding a mirroring group whose qualifier set the ASIC does not change in place. Internal.
#pragma once

#include <map>
#include <vector>

#include "morvane/MorvaneTcamGroupManager.h"
#include "morvane/MorvaneTcamManager/Rollback.h"

namespace Morvane {

// One rebuild. Afterwards the group is empty and wider, or it is destroyed with its entries and
// qualifiers on the unit, also when an SDK call throws.
class MirroringGroupRebuild {
 public:
  MirroringGroupRebuild( MorvaneTcamGroupManager & manager, U32 unit, U32 group, S32 qualId );

  // Whether the group exists afterwards.
  bool run();

 private:
  void destroy();
  void dropCopies( Release & release );
  bool create();
  void forgetUses();
  void abandon();

  MorvaneTcamGroupManager & manager_;
  const U32 unit_;
  const U32 group_;
  const S32 qualId_;
  const Kiv::ValidPtr< GroupUdfQual > carried_;
  std::vector< Kiv::Ptr< MorvaneTcamEntryManager > > users_;
  std::map< U32, S32 > counts_;  // by pipe group: references before the rebuild
};

}  // namespace Morvane
