// The audit of one unit. Internal to audit/.
#pragma once

#include <fmt/core.h>

#include <map>
#include <set>
#include <string>
#include <tuple>
#include <vector>

#include "agent/verify/audit/PendingCleanup.h"
#include "morvane/MorvaneTcamCapacitySm.h"
#include "morvane/MorvaneTcamGroupManager.h"
#include "softasic/SoftAsic.h"

namespace Audit {

using namespace Kiv::Integers;

// Audits one unit. Call `run` once; it appends to `differences`.
class UnitAudit {
 public:
  UnitAudit( const Morvane::MorvaneTcamGroupManager & manager, const SoftAsic::SoftAsic & chip,
             U32 unit, const Morvane::MorvaneTcamCapacitySm * capacity,
             std::vector< std::string > & differences );
  void run();

 private:
  using EntryManager = Morvane::MorvaneTcamEntryManager;
  using EntryRecords = Morvane::UnitEntriesCreated;

  // Entries (EntryAudit.cpp)
  void auditManager( const EntryManager & owner );
  void auditEntry( const EntryManager & owner, const EntryRecords & records, U32 entry );
  void auditCopy( const EntryManager & owner, const EntryRecords & records, U32 entry,
                  const Morvane::PipeCopy & at, const SoftAsic::EntryView & first );
  void auditState( const EntryRecords & records, U32 entry, const SoftAsic::EntryView & copy,
                   bool twin );
  void auditRule( const EntryRecords & records, U32 entry, const Morvane::PipeCopy & at,
                  const SoftAsic::EntryView & copy, const SoftAsic::EntryView & first );
  void auditIdleEntry( const EntryManager & owner, U32 entry );
  void auditStat( const EntryRecords & records, const SoftAsic::EntryView & onChip );
  void auditRecords( const EntryManager & owner, const EntryRecords & records );
  void auditForeignEntries();
  void auditForeignStats();

  // Twins (TwinAudit.cpp)
  bool isTwin( const EntryManager & owner, const Morvane::PipeCopy & at ) const;
  static std::vector< U16 > vlansOf( const SoftAsic::EntryView & first );
  void auditTwin( const EntryManager & owner, const EntryRecords & records,
                  const SoftAsic::EntryView & twin, const SoftAsic::EntryView & first );
  void auditTwinRule( const EntryRecords & records, const std::vector< U16 > & vlans,
                      const SoftAsic::EntryView & twin, const SoftAsic::EntryView & first );
  bool untagged( const std::vector< U16 > & vlans, U32 port ) const;
  void auditTwinMap();

  // Groups (GroupAudit.cpp)
  void auditGroups();
  void auditCounts( U32 pipeGroup, const Morvane::GroupCounts & counts );
  void auditPreselectors();
  void auditPreselectorOf( const SoftAsic::GroupView & group );
  S64 expectedReferences( U32 pipeGroup ) const;
  bool isCopy( U32 pipeGroup ) const;

  // Range checkers and policers (SharedAudit.cpp)
  void auditRangeCheckers();
  void auditRangeChecker( const Morvane::RangeCheckerData & data );
  void auditPolicer( const EntryManager & owner, const Morvane::PipeCopy & at,
                     const SoftAsic::EntryView & copy, const SoftAsic::EntryView & first );
  void auditPolicers();

  // Data qualifiers (DataQualifierAudit.cpp)
  void auditDataQualifiers();
  void auditDataQualifier( const Morvane::UdfUnitSpec & spec,
                           const SoftAsic::DataQualifierView & onChip );
  void auditQualifiersOf( U32 groupId, const Morvane::GroupUdfQual & used,
                          const std::set< U32 > & owned );

  // Capacity (CapacityAudit.cpp)
  void auditCapacity();
  void auditStage( const SoftAsic::StageProfile & profile, const kelmor_tcam_stage_info_t & record,
                   bool inRows );
  void auditSlices( const SoftAsic::StageProfile & profile, const kelmor_tcam_stage_info_t & record,
                    bool inRows );
  void auditCapacityTable( const kelmor_tcam_capacity_info_t & info );

  template < class... A >
  void report( fmt::format_string< A... > text, A &&... args ) {
    differences_.push_back( fmt::format( "unit {}: ", unit_ ) +
                            fmt::format( text, std::forward< A >( args )... ) );
  }

  const Morvane::MorvaneTcamGroupManager & manager_;
  const SoftAsic::SoftAsic & chip_;
  const U32 unit_;
  const Morvane::MorvaneTcamCapacitySm * const capacity_;  // may be null
  std::vector< std::string > & differences_;
  const PendingCleanup pending_;

  std::map< U32, SoftAsic::GroupView > groups_;     // on the chip
  std::map< U32, SoftAsic::StatView > statistics_;  // on the chip
  std::set< U32 > ownedEntries_;                    // pipe entry ids with an owner
  std::set< U32 > ownedStats_;
  // By VLAN: entries whose twins match its untagged packets, with their managers.
  std::map< U16, std::map< U32, const EntryManager * > > twins_;
  std::map< U32, SoftAsic::RangeView > rangeCheckers_;  // on the chip, not yet found in the records
  std::map< U32, S64 > references_;  // by group id: references held by its managers
};

}  // namespace Audit
