// Seam: flow-programming groups. Their creation and their UDF qualifiers are not built yet; nothing
// can have made a qualifier, and asking for such a group is refused loudly.

#include "kiv/Assert.h"
#include "morvane/MorvaneTcamGroupManager.h"

namespace Morvane {

bool MorvaneTcamGroupManager::createGroupOpenFlowAclUdf( U32 /* unit */, U32 /* group */ ) {
  KIV_ASSERT( !"flow-programming groups are not built yet" );
  return false;
}

void MorvaneTcamGroupManager::destroyOpenFlowUdfQualifiers( U32 /* unit */, U32 pipeGroupId ) {
  const U8 key = static_cast< U8 >( pipeGroupId );
  const Kiv::Ptr< GroupUdfQual > record = groupOpenFlowAclUdfValid( key )
                                              ? groupIdToOpenFlowAclUdf( key )
                                              : groupIdToOpenFlowVxlanAclUdf( key );
  KIV_ASSERT( !record || record->udfQualIdSize() == 0 );
}

}  // namespace Morvane
