// Reports the use of the TCAM, stage by stage, to the agent's capacity table.
//
//   auto capacity = Kiv::make< MorvaneTcamCapacitySm >( "capacity", groupManager, &table );
//   capacity->thresholdIs( { unit, stage }, { 90, 80 } );   // percent; raise, clear
//   ...
//   capacity->poll();                                       // on each poll of the agent
//
// Invariants: a row is written only when it is new or has changed. An alarm is raised once when the
// use reaches the upper threshold, and cleared once when it falls below the clear threshold; its
// row is written first. When a stage or its unit is removed, its alarm is cleared and then its row
// deleted.
//
// Order of calls: after the group manager knows its units. Thresholds may change at any time and
// count from the next poll on.
//
// Locks: called on the agent's activity thread with the activity lock held, which is dropped around
// the SDK call for each unit.
#pragma once

#include "kiv/Attribute.h"
#include "kiv/Entity.h"
#include "kiv/Export.h"
#include "kiv/LogHandle.h"
#include "kiv/RbTreeMap.h"
#include "morvane/Platform.h"

namespace Morvane {

class MorvaneTcamGroupManager;

// Handles of the restart messages; morvane/LogMessages.h has the manager's.
namespace TcamCapacity {
extern KIV_API const Kiv::LogHandle MORVANE_CONFIG_CHANGE;
extern KIV_API const Kiv::LogHandle MORVANE_UNEXPECTED_RESTART;
}  // namespace TcamCapacity

// Name of a stage of the ASIC's capacity record, "IFP" for 0; its number if it has no name.
KIV_API Kiv::String8 tcamStageName( S32 stage );

// Use of a stage, in percent of its size, that raises and clears its alarm. An upper threshold of 0
// raises none. A clear threshold of 0, or above the upper one, counts as the upper one.
struct TcamCapacityThreshold : Kiv::Value {
  U32 upper = 0;
  U32 clear = 0;

  TcamCapacityThreshold() = default;
  TcamCapacityThreshold( U32 raisesAt, U32 clearsBelow )
      : upper( raisesAt ), clear( clearsBelow ) {}

  static constexpr const char * typeName = "Morvane::TcamCapacityThreshold";
  static constexpr auto fields() {
    return std::make_tuple( Kiv::field( "upper", &TcamCapacityThreshold::upper ),
                            Kiv::field( "clear", &TcamCapacityThreshold::clear ) );
  }
};

class KIV_API MorvaneTcamCapacitySm : public Kiv::Entity {
 public:
  struct Notifiee : Kiv::NotifieeConst {
    virtual void onThreshold( TcamCapacityKey ) {}
    virtual void onRow( TcamCapacityKey ) {}
    virtual void onAlarm( TcamCapacityKey ) {}
  };

  // `table` is the agent's and outlives this object.
  MorvaneTcamCapacitySm( const Kiv::Name & name,
                         Kiv::Ptr< const MorvaneTcamGroupManager > groupManager,
                         TcamCapacityTable * table );
  ~MorvaneTcamCapacitySm() override;
  const char * fwkType() const override;

  // Absent: no alarm.
  KIV_VALUES( Kiv::RbTreeMap, TcamCapacityKey, TcamCapacityThreshold, threshold, Threshold );
  // The rows in the table.
  KIV_VALUES( Kiv::RbTreeMap, TcamCapacityKey, TcamCapacityRow, row, Row );
  // The raised alarms.
  KIV_VALUES( Kiv::RbTreeMap, TcamCapacityKey, bool, alarm, Alarm );

  // Reads every unit's capacity once and updates the table. A failed read ends the process.
  void poll();
  // Resets every high watermark to the use at the last poll.
  void clearHighWatermarks();

 private:
  void pollUnit( U32 unit, const kelmor_tcam_capacity_info_t & info );
  void write( const TcamCapacityKey & key, const TcamCapacityRow & row );
  void follow( const TcamCapacityKey & key, const TcamCapacityRow & row );
  void forget( const TcamCapacityKey & key );

  const Kiv::Ptr< const MorvaneTcamGroupManager > groupManager_;
  TcamCapacityTable * const table_;
};

}  // namespace Morvane
