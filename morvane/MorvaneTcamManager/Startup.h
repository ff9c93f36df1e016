// Start-up of the group manager: platform tables, counter records, one entry manager per user.
// Internal.
#pragma once

#include <vector>

#include "morvane/MorvaneTcamGroupManager.h"

namespace Morvane {

class Startup {
 public:
  explicit Startup( MorvaneTcamGroupManager & manager ) : manager_( manager ) {}

  // As the manager's handleInitialized. An exception from an SDK call runs forget().
  void run();
  // Removes the records of hardware state, as doSdkReInit does.
  void forget();

 private:
  void start();
  bool applyUnitControls();
  void clearGroupFlags();
  void indexGroupTables();
  void mapReservations();
  void startReservation( TcamReservation & reservation, U32 & nextEntry );
  void sizeCounterRecords( U32 group );
  void classifyGroup( const TcamReservation & reservation );
  void createEntryManager( const TcamReservation & reservation, U32 & nextEntry );

  MorvaneTcamGroupManager & manager_;
};

}  // namespace Morvane
