// The agent's table of TCAM utilisation and alarms.
//
// The library's capacity state machine updates it at every poll. It has the current rows and all
// alarm transitions in order.
#pragma once

#include <map>
#include <vector>

#include "morvane/MorvaneTcamCapacitySm.h"

namespace Agent {

using namespace Kiv::Integers;

// An alarm transition and the row that caused it.
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
