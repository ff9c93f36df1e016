// The agent's own record of how full the TCAM is, and of the alarms that came and went.
//
// The library's capacity machine tells it of changes at every poll. It keeps the rows as they are
// and each alarm as it was, in the order in which they came.
#pragma once

#include <map>
#include <vector>

#include "morvane/MorvaneTcamCapacitySm.h"

namespace Agent {

using namespace Kiv::Integers;

// An alarm that was raised or cleared, and the row that did it.
struct CapacityAlarm {
  bool raised = false;
  Morvane::TcamCapacityKey key;
  Morvane::TcamCapacityRow row;
};

class CapacityTable : public Morvane::TcamCapacityTable {
 public:
  using Rows = std::map< Morvane::TcamCapacityKey, Morvane::TcamCapacityRow >;

  void rowIs( const Morvane::TcamCapacityKey & key,
              const Morvane::TcamCapacityRow & row ) override {
    rows_[ key ] = row;
  }
  void rowDel( const Morvane::TcamCapacityKey & key ) override { rows_.erase( key ); }
  void alarmIs( const Morvane::TcamCapacityKey & key, bool raised ) override {
    alarms_.push_back( { raised, key, rows_[ key ] } );
  }

  const Rows & rows() const { return rows_; }
  const std::vector< CapacityAlarm > & alarms() const { return alarms_; }

 private:
  Rows rows_;
  std::vector< CapacityAlarm > alarms_;
};

}  // namespace Agent
