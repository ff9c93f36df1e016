// Seam: the outer-VLAN workaround. Counts and pipes of such groups are right already; installing an
// entry in one needs its twin, which is not built yet and is refused loudly.

#include "kiv/Assert.h"
#include "morvane/MorvaneOvidWarSm.h"
#include "morvane/MorvaneTcamEntryManager.h"

namespace Morvane {

MorvaneOvidWarSm::MorvaneOvidWarSm( const Kiv::Name & name,
                                    Kiv::Ptr< const MorvaneOvidUtBitmapDir > directory )
    : Kiv::Entity( name ), directory_( std::move( directory ) ) {}

void MorvaneTcamEntryManager::processOvidWarEntry( U32 /* unit */, U32 /* entry */,
                                                   U32 /* tcamEntryId */ ) {
  KIV_ASSERT( !"the outer-VLAN workaround keeps no twin entries yet" );
}

void MorvaneTcamEntryManager::tcamMgrUpdateOvidEntryMap( U32 /* unit */, U32 /* entry */ ) {
  KIV_ASSERT( !"the outer-VLAN workaround keeps no entry map yet" );
}

}  // namespace Morvane
