// One chip: its tables and the SDK operations on them.
//
// Every SDK operation is a member function of the same name without the unit argument. It only
// looks up objects by id and forwards; the chip rules are in the objects' classes.
//
//   UnitGroups.cpp      groups, controls, ports, preselectors, capacity
//   UnitEntries.cpp     entries and actions
//   UnitQualifiers.cpp  qualifiers of entries
//   UnitStats.cpp       statistics
//   UnitResources.cpp   range checkers, policers, data qualifiers
//   UnitShow.cpp        groups and entries as text
//   UnitViews.cpp       inspection
//
// Locking: none; SoftAsic serialises all calls.
#pragma once

#include "shim/SdkShim.h"
#include "softasic/Controls.h"
#include "softasic/Entries.h"
#include "softasic/Groups.h"
#include "softasic/Pipeline.h"
#include "softasic/Stats.h"

namespace SoftAsic {

class Unit {
 public:
  // The profile must be valid.
  explicit Unit( const ChipProfile & profile );
  Unit( const Unit & ) = delete;
  Unit & operator=( const Unit & ) = delete;

  const ChipProfile & profile() const { return profile_; }
  const Ports & ports() const { return ports_; }
  Verdict inject( U32 port, U32 egressPort, const U8 * frame, size_t length ) {
    return pipeline_.run( port, egressPort, frame, length, now_ );
  }
  U64 now() const { return now_; }
  void advance( U64 nanoseconds ) { now_ += nanoseconds; }

  // Inspection, see SoftAsic.h
  std::vector< GroupView > groupViews() const;
  std::optional< GroupView > groupView( U32 id ) const;
  std::vector< EntryView > entryViews( U32 groupId ) const;
  std::optional< EntryView > entryView( U32 id ) const;
  std::vector< StatView > statViews() const { return stats_.views(); }
  std::optional< StatView > statView( U32 id ) const;
  std::vector< PreselView > preselViews() const { return presels_.views(); }
  std::vector< RangeView > rangeViews() const;
  std::vector< PolicerView > policerViews() const;
  std::vector< DataQualifierView > dataQualifierViews() const { return data_.views(); }
  std::vector< TableView > tableViews() const;
  kelmor_tcam_capacity_info_t capacityView() const;
  std::vector< SliceView > sliceViews() const;
  const ControlsView & controlsView() const { return controls_.view(); }

#define SDK_OP( name, params, args ) int name params;
#include "shim/SdkOperations.inc"

 private:
  int qualify( U32 entryId, bcm_field_qualify_t qualifier, U64 value, U64 mask );
  template < class F >
  int editField( U32 entryId, bcm_field_qualify_t qualifier, F && edit );
  int addAction( U32 entryId, const ActionView & action );

  const ChipProfile profile_;
  Ports ports_;
  Presels presels_;
  RangeCheckers ranges_;
  DataQualifiers data_;
  Policers policers_;
  StageTables tables_;
  Groups groups_;
  Entries entries_;
  Stats stats_;
  Controls controls_;
  Pipeline pipeline_;
  U64 now_ = 0;  // nanoseconds
};

}  // namespace SoftAsic
