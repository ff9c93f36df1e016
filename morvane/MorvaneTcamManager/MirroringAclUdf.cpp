// Seam: UDF qualifiers of mirroring groups. None can be made yet, so there is none to give back.

#include "kiv/Assert.h"
#include "morvane/MorvaneTcamGroupManager.h"

namespace Morvane {

void MorvaneTcamGroupManager::uninitializeMirroringUdfQualifiers( U32 /* unit */,
                                                                  U32 pipeGroupId ) {
  const Kiv::Ptr< GroupUdfQual > record =
      groupIdToMirroringAclUdf( static_cast< U8 >( pipeGroupId ) );
  KIV_ASSERT( !record || record->udfQualIdSize() == 0 );
}

}  // namespace Morvane
