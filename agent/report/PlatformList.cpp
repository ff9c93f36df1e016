#include "agent/report/PlatformList.h"

#include "agent/session/SwitchSession.h"
#include "agent/text/TextTable.h"
#include "platform/PlatformLoader.h"

namespace Agent {

namespace {

using namespace Kiv::Integers;

U32 ingressRows( const SoftAsic::ChipProfile & chip ) {
  U32 rows = 0;
  for ( const SoftAsic::StageProfile & stage : chip.stages )
    for ( const SoftAsic::SliceProfile & slices : stage.slices )
      rows += stage.kind == SoftAsic::StageKind::ifp ? slices.count * slices.depth : 0;
  return rows;
}

// Entries of IPv4 lists that fit an empty chip: on one with fewer slices than the share has
// entries, less than the share.
U32 fittingEntries( const Platform::PlatformData & data ) {
  SwitchSession session( data );
  const auto user = session.groupManager().entryManager( Morvane::ipAclTcamGroup );
  return user ? user->entriesAvailable( SwitchSession::unit ) : 0;
}

std::string namesOf( const Platform::PlatformData & data ) {
  return data.portNames.empty() ? "" : data.portNames.front() + " to " + data.portNames.back();
}

}  // namespace

std::string platformsText() {
  TextTable table( { "platform", ">pipes", ">copies", ">ports", "by name", ">ingress rows a copy",
                     ">IPv4 ACL share", ">entries that fit", "description" } );
  for ( const std::string & name : Platform::builtInPlatforms() ) {
    const Platform::PlatformData data = Platform::loadPlatform( name );
    U32 aclEntries = 0;
    for ( const Platform::ReservationData & user : data.reservations )
      aclEntries += user.assignment == Morvane::ipAclTcamGroup ? user.size : 0;
    table.add( { name, std::to_string( data.chip.pipes ), data.chip.secondCopy ? "2" : "1",
                 std::to_string( data.chip.ports() ), namesOf( data ),
                 countText( ingressRows( data.chip ) ), countText( aclEntries ),
                 countText( fittingEntries( data ) ), data.description } );
  }
  return table.text();
}

}  // namespace Agent
