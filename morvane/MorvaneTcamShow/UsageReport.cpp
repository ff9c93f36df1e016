// The usage report: each group with its users, and in detail their entries.

#include "morvane/MorvaneTcamEntryManager.h"
#include "morvane/MorvaneTcamGroupManager.h"
#include "morvane/MorvaneTcamManager/Trace.h"
#include "morvane/MorvaneTcamShow/ReportText.h"
#include "morvane/Operation.h"
#include "morvane/Platform.h"
#include "shim/SdkCall.h"

namespace Morvane {

namespace {

// Reports print signed numbers.
constexpr int asInt( U32 number ) {
  return static_cast< int >( number );
}

class UsageReport {
 public:
  UsageReport( const MorvaneTcamGroupManager & manager, U32 fd, bool detail, U32 unit, S8 pipe )
      : manager_( manager ), out_( fd ), detail_( detail ), unit_( unit ), pipe_( pipe ) {}

  void run( const Kiv::String8 & name );

 private:
  bool shows( GroupIdToPipeGroupId at ) const;
  bool keptPerPipe( U32 group ) const;
  bool showGroup( GroupIdToPipeGroupId at );
  void showReservations( GroupIdToPipeGroupId at );
  void showReservation( const TcamReservation & reservation, GroupIdToPipeGroupId at );
  void showEntries( MorvaneTcamEntryManager & user, const UnitEntriesCreated & entries,
                    GroupIdToPipeGroupId at );
  U64 hits( MorvaneTcamEntryManager & user, const UnitEntriesCreated & entries, U32 pipeEntry );
  U32 copiesOf( U32 group ) const { return manager_.getNumCopiesPerPipe( unit_, group ); }

  const MorvaneTcamGroupManager & manager_;
  ReportWriter out_;
  const bool detail_;
  const U32 unit_;
  const S8 pipe_;
};

void UsageReport::run( const Kiv::String8 & name ) {
  appendFormatted( out_.text(), "=== TCAM %s for switch %s ===\n", detail_ ? "detail" : "summary",
                   name.charPtr() );
  // One operation per group: groups and entries may be created and released in between.
  for ( auto it = manager_.groupCountsIterConst(); it; ++it ) {
    // A group with two copies in a pipe is shown once.
    if ( it.key().copy() == 0 && showGroup( it.key() ) )
      showReservations( it.key() );
  }
}

bool UsageReport::keptPerPipe( U32 group ) const {
  return !manager_.ovidWar( group ) && manager_.getNumPipe( group ) >= 2;
}

bool UsageReport::shows( GroupIdToPipeGroupId at ) const {
  return pipe_ == -1 || !keptPerPipe( at.groupId() ) || static_cast< U32 >( pipe_ ) == at.pipe();
}

// Prints the group; returns false if it does not exist or is filtered out.
bool UsageReport::showGroup( GroupIdToPipeGroupId at ) {
  const Operation operation( manager_, unit_ );
  const Kiv::Ptr< GroupCounts > counts = manager_.groupCounts( at );
  if ( !counts || counts->unitRefCount( unit_ ) <= 0 || !shows( at ) )
    return false;
  const U32 unit = unit_;
  const U32 groupId = at.pipeGroupId;
  bcm_field_group_status_s status = {};
  SDK_CHECKED( bcm_field_group_status_get( unit, groupId, &status ) );
  std::string pipeText;
  if ( keptPerPipe( at.groupId() ) )
    appendFormatted( pipeText, " in PIPE %d", asInt( at.pipe() ) );
  U32 used = counts->unitAllocated( unit );
  int free = Shim::Fields::groupEntriesFree( status );
  if ( manager_.ovidWar( at.groupId() ) ) {
    // Every entry has a twin.
    used >>= 1;
    free /= 2;
  }
  used *= copiesOf( at.groupId() );
  appendFormatted( out_.text(), "TCAM group %d%s uses %d %s and can use up to %d more.\n",
                   asInt( at.groupId() ), pipeText.c_str(), asInt( used ),
                   used == 1 ? "entry" : "entries", free );
  out_.written();
  return true;
}

void UsageReport::showReservations( GroupIdToPipeGroupId at ) {
  for ( U32 i = 0; i < numTcamReservations(); ++i )
    if ( getTcamReservation( i )->group == at.groupId() )
      showReservation( *getTcamReservation( i ), at );
}

void UsageReport::showReservation( const TcamReservation & reservation, GroupIdToPipeGroupId at ) {
  const Kiv::Ptr< MorvaneTcamEntryManager > user = manager_.managerOf( reservation );
  const U32 copies = copiesOf( at.groupId() );
  const U32 reserved = user ? user->entriesAllocated( unit_ ) * copies : 0;
  if ( reserved == 0 )
    return;
  const Kiv::Ptr< UnitEntriesCreated > entries = user->internalUnitEntry( unit_ );
  const U32 used = entries ? entries->entryCreatedSize() * copies : 0;
  if ( reserved != used && detail_ )
    appendFormatted( out_.text(), "  %s reserves %d entries (%d used).\n", reservation.name,
                     asInt( reserved ), asInt( used ) );
  else
    appendFormatted( out_.text(), "  %s uses %d entries.\n", reservation.name, asInt( reserved ) );
  out_.written();
  if ( detail_ && entries )
    showEntries( *user, *entries, at );
}

void UsageReport::showEntries( MorvaneTcamEntryManager & user, const UnitEntriesCreated & entries,
                               GroupIdToPipeGroupId at ) {
  const bool twins = manager_.ovidWar( at.groupId() );
  for ( auto it = entries.entryCreatedIterConst(); it; ++it ) {
    const U32 entry = it.key();
    const Operation operation( manager_, unit_ );
    if ( !user.parent() || !entries.entryCreatedHas( entry ) )
      continue;
    const Kiv::String8 desc = entries.entryCreated( entry );
    const U32 copies = copiesOf( at.groupId() );
    for ( U32 copy = 0; copy < copies; ++copy ) {
      const U32 pipeEntry = tcamId( entry, at.pipe(), copy );
      U64 packets = hits( user, entries, pipeEntry );
      // Twins have no line.
      if ( twins )
        packets += hits( user, entries, ovidTwinId( entry ) );
      appendFormatted( out_.text(), "    %-10d %12lld hits - %s\n", asInt( pipeEntry ),
                       static_cast< long long >( packets ), desc.charPtr() );
      out_.written();
    }
  }
}

U64 UsageReport::hits( MorvaneTcamEntryManager & user, const UnitEntriesCreated & entries,
                       U32 pipeEntry ) {
  return entries.entryStats( pipeEntry ) != 0 ? user.hitsForPipeEntry( unit_, pipeEntry ) : 0;
}

}  // namespace

void MorvaneTcamGroupManager::showTcamUsage( const Kiv::String8 & name, U32 fd, bool detail,
                                             U32 unit, S8 pipe ) const {
  MORVANE_TRACE( traceGroup ) << "showTcamUsage";
  UsageReport( *this, fd, detail, unit, pipe ).run( name );
}

}  // namespace Morvane
