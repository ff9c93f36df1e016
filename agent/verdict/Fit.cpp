#include "agent/verdict/Fit.h"

#include <fmt/core.h>

#include <algorithm>

#include "agent/feature/AclFeature.h"
#include "agent/feature/AclShares.h"
#include "agent/session/SwitchSession.h"
#include "agent/verdict/Cost.h"
#include "agent/verdict/Remedies.h"
#include "agent/verdict/Resources.h"

namespace Agent {

namespace {

// Programs one list after the other and keeps what remedies need.
class FitJob {
 public:
  // `lists`: those that the platform supports.
  FitJob( const Platform::PlatformData & platform, const std::vector< const Acl * > & lists,
          PortMethod method, FitReport & report, const std::function< void() > & onRule );
  ~FitJob() { feature_.clear(); }

  void fit( ListVerdict & verdict );
  void finish();

 private:
  SwitchRoom roomFor( const Acl & acl );
  void noteField( const Acl & acl );
  void noteFull( const Acl & acl );
  void noteSlices( const Acl & acl );
  std::vector< ResourceUse > resourcesWith( const Acl & acl );

  const Platform::PlatformData & platform_;
  const std::vector< const Acl * > & lists_;
  const RangeChoice choice_;
  FitReport & report_;
  SwitchSession session_;
  AclFeature feature_;
  CheckerModel checkers_;  // of the lists that fit
  std::vector< const Acl * > fitting_;
  SwitchRoom left_;  // of the current list
  // Before its last user-defined field was added. Empty: it has none.
  std::vector< ResourceUse > beforeField_;
  std::string fieldPool_;  // that was full when it ran out; empty: none
};

FitJob::FitJob( const Platform::PlatformData & platform, const std::vector< const Acl * > & lists,
                PortMethod method, FitReport & report, const std::function< void() > & onRule )
    : platform_( platform ),
      lists_( lists ),
      choice_( rangeChoice( method, platform, lists ) ),
      report_( report ),
      session_( platform ),
      feature_( session_.groupManager(), SwitchSession::unit, platform, choice_ ),
      checkers_( platform.chip.rangeCheckers, choice_ ) {
  feature_.wantFitting();
  feature_.onRuleIs( onRule );
}

SwitchRoom FitJob::roomFor( const Acl & acl ) {
  SwitchRoom left;
  left.entries = feature_.room( acl );
  const auto stage =
      acl.direction == Direction::out ? SoftAsic::StageKind::efp : SoftAsic::StageKind::ifp;
  for ( const SoftAsic::TableView & table : session_.chip().tables( SwitchSession::unit ) )
    if ( table.stage == stage && table.pipe == 0 && table.copy == 0 )
      left.statistics = table.freeStatistics;
  left.policers = platform_.chip.policers - policersInUse( session_ );
  left.udfChunks = platform_.chip.dataChunks - udfChunksInUse( session_ );
  return left;
}

std::vector< ResourceUse > FitJob::resourcesWith( const Acl & acl ) {
  std::vector< const Acl * > lists = fitting_;
  lists.push_back( &acl );
  return resourcesOf( session_, lists );
}

// The chip's state while it still has the group, which is lost if the field makes its key too wide.
void FitJob::noteField( const Acl & acl ) {
  if ( report_.fullAt.empty() )
    beforeField_ = resourcesWith( acl );
}

// The chip's state, before the list is rolled back.
void FitJob::noteFull( const Acl & acl ) {
  const SoftAsic::ChipProfile & chip = platform_.chip;
  if ( udfChunksInUse( session_ ) == chip.dataChunks )
    fieldPool_ = "UDF chunks";
  else if ( udfFormatsInUse( session_ ) == chip.dataFormats )
    fieldPool_ = "UDF packet formats";
  noteSlices( acl );
  if ( !report_.fullAt.empty() )
    return;
  report_.fullAt = acl.name;
  const U32 group = shareOf( platform_, classOf( acl ) )->group;
  const bool lost = !session_.chip().group( SwitchSession::unit, group ).has_value();
  report_.resources = lost && !beforeField_.empty() ? beforeField_ : resourcesWith( acl );
}

void FitJob::noteSlices( const Acl & acl ) {
  const U32 id = shareOf( platform_, classOf( acl ) )->group;
  if ( const auto group = session_.chip().group( SwitchSession::unit, id ) ) {
    left_.entriesPerSlice = group->rowsPerSlice;
    for ( const SoftAsic::SliceView & slice : session_.chip().slices( SwitchSession::unit ) )
      if ( slice.group == id ) {
        left_.sliceDepth = slice.depth;
        left_.spareKeyBits = slice.rowBits() - group->keyBits;
      }
  }
}

void FitJob::fit( ListVerdict & verdict ) {
  const Acl & acl = *verdict.acl;
  left_ = roomFor( acl );
  verdict.room = left_.entries;
  CheckerModel checkers = checkers_;
  const ListCost cost = listCost( platform_, acl, checkers, false );
  verdict.needed = cost.entries;
  beforeField_.clear();
  fieldPool_.clear();
  feature_.onFieldIs( [ & ] { noteField( acl ); } );
  verdict.shortage = feature_.addAcl( acl, [ & ] { noteFull( acl ); } );
  if ( !verdict.shortage ) {
    checkers_ = std::move( checkers );
    fitting_.push_back( &acl );
    return;
  }
  const Shortfall shortfall = {
      platform_, acl, *verdict.shortage, choice_, lists_, fitting_, checkers_, cost, left_ };
  const bool field = verdict.shortage->resource == AclResource::udfQualifiers;
  verdict.binding =
      field && !fieldPool_.empty() ? fieldPool_ : resourceName( verdict.shortage->resource );
  if ( !field || fieldPool_ == "UDF chunks" )
    verdict.shortBy = shortBy( shortfall );
  verdict.remedies = remedies( shortfall );
}

void FitJob::finish() {
  if ( report_.fullAt.empty() )
    report_.resources = resourcesOf( session_, fitting_ );
}

}  // namespace

bool FitReport::fits() const {
  return std::all_of(
      lists.begin(), lists.end(), []( const ListVerdict & list ) { return list.fits(); } );
}

FitReport fitLists( const Platform::PlatformData & platform, const std::vector< Acl > & acls,
                    PortMethod method, const std::function< void() > & onRule ) {
  FitReport report = { platform.name, platform.description, {}, {}, {} };
  std::vector< const Acl * > supported;
  for ( const Acl & acl : acls ) {
    ListVerdict & verdict = report.lists.emplace_back();
    verdict.acl = &acl;
    if ( const auto fault = listFault( platform, acls, acl ) )
      verdict.fault = fault->what;
    else
      supported.push_back( &acl );
  }
  FitJob job( platform, supported, method, report, onRule );
  for ( ListVerdict & verdict : report.lists )
    if ( verdict.fault.empty() )
      job.fit( verdict );
  job.finish();
  return report;
}

}  // namespace Agent
