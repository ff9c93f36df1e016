#include "agent/verdict/Replace.h"

#include <fmt/core.h>

#include <algorithm>
#include <functional>
#include <set>

#include "agent/feature/AclShares.h"
#include "agent/session/SwitchSession.h"
#include "agent/text/TextTable.h"
#include "shim/SdkDecorator.h"

namespace Agent {

namespace {

constexpr U32 packetsPerCall = 4;
constexpr U64 refill = 1'000'000'000;  // ns between packets: no policer drops them

std::vector< PolicyTable::List > listsOf( const std::vector< Acl > & acls, U32 firstIndex ) {
  std::vector< PolicyTable::List > lists;
  for ( const Acl & acl : acls )
    lists.push_back( { firstIndex++, &acl } );
  return lists;
}

// What forwarding does with a packet, whichever rule says so.
struct Treatment {
  bool drop;
  bool copyToCpu;
  std::set< U32 > mirrorPorts;
  friend bool operator==( const Treatment &, const Treatment & ) = default;
};

Treatment treatment( const SoftAsic::Verdict & verdict ) {
  return { verdict.drop, verdict.copyToCpu, portsIn( verdict.mirrorPorts ) };
}

Treatment treatment( const PacketFate & fate ) {
  return { fate.drop, fate.copyToCpu, fate.mirrorPorts };
}

// Runs a function after every SDK call.
class AfterCalls : public Shim::SdkDecorator {
 public:
  explicit AfterCalls( std::function< void() > then )
      : SdkDecorator( *Shim::sdk_ ), below_( Shim::sdk_ ), then_( std::move( then ) ) {
    Shim::sdk_ = this;
  }
  ~AfterCalls() override { Shim::sdk_ = below_; }
  AfterCalls( const AfterCalls & ) = delete;
  AfterCalls & operator=( const AfterCalls & ) = delete;

 protected:
  int around( const Shim::SdkCallInfo &, const Shim::SdkInvocation & call ) override {
    const int rc = call();
    then_();
    return rc;
  }

 private:
  Shim::SdkShim * const below_;
  const std::function< void() > then_;
};

// A packet, and what both versions do with it.
struct Probe {
  const Packet * packet;
  PortPair ports;
  Treatment before;
  Treatment after;
};

Treatment expected( const Platform::PlatformData & platform, const std::vector< Acl > & acls,
                    const Packet & packet, const PortPair & ports ) {
  Policy policy;
  policy.tables.push_back(
      { acls.front().kind, acls.front().direction, listsOf( acls, 0 ), Forwarding::none } );
  const FrameFields fields = readFrame( packet.frame );
  const auto conforms = []( const RuleIndex &, const PoliceRate & ) { return true; };
  return treatment( expectedFate( policy, fieldsAtPort( platform, ports.in, fields ),
                                  fieldsLeaving( ports.out, fields ), conforms ) );
}

class ReplaceJob {
 public:
  ReplaceJob( const Platform::PlatformData & platform, const std::vector< Acl > & old,
              const std::vector< Acl > & fresh, const RangeChoice & choice,
              const std::vector< Probe > & probes, ReplaceReport & report );
  ~ReplaceJob() { table_.clear(); }

  bool programOld();
  bool replace( Replacement by );

 private:
  void sendSome();
  U32 entries() const { return manager_->entriesAllocated( SwitchSession::unit ); }

  const ListClass class_;
  const std::vector< PolicyTable::List > old_;
  const std::vector< PolicyTable::List > fresh_;
  ReplaceReport & report_;
  SwitchSession session_;
  U32 policersLeft_;
  AclTable table_;
  Kiv::Ptr< Morvane::MorvaneBoundedTcamEntryManager > manager_;
  const std::vector< Probe > & probes_;
  size_t next_ = 0;
};

ReplaceJob::ReplaceJob( const Platform::PlatformData & platform, const std::vector< Acl > & old,
                        const std::vector< Acl > & fresh, const RangeChoice & choice,
                        const std::vector< Probe > & probes, ReplaceReport & report )
    : class_( classOf( old.front() ) ),
      old_( listsOf( old, 0 ) ),
      fresh_( listsOf( fresh, static_cast< U32 >( old.size() ) ) ),
      report_( report ),
      session_( platform ),
      policersLeft_( platform.chip.policers ),
      table_( session_.groupManager(), SwitchSession::unit, platform, class_, choice,
              policersLeft_ ),
      manager_( session_.groupManager().entryManager( shareOf( platform, class_ )->assignment ) ),
      probes_( probes ) {
  report_.room = table_.room( old.front() );
}

bool ReplaceJob::programOld() {
  for ( const PolicyTable::List & list : old_ )
    if ( const auto shortage = table_.addAcl( *list.acl, list.index, {} ) ) {
      report_.fault = fmt::format( "{} does not fit: {} ran out", list.acl->name,
                                   resourceName( shortage->resource ) );
      return false;
    }
  report_.oldEntries = entries();
  return true;
}

void ReplaceJob::sendSome() {
  for ( U32 i = 0; i < packetsPerCall && !probes_.empty(); ++i ) {
    const Probe & probe = probes_[ next_++ % probes_.size() ];
    session_.chip().advance( SwitchSession::unit, refill );
    const SoftAsic::Verdict verdict =
        session_.chip().inject( SwitchSession::unit, probe.ports.in, probe.packet->frame.data(),
                                probe.packet->frame.size(), probe.ports.out );
    const Treatment met = treatment( verdict );
    ++report_.packets;
    report_.neither += met == probe.before || met == probe.after ? 0 : 1;
  }
}

bool ReplaceJob::replace( Replacement by ) {
  report_.by = by;
  report_.packets = report_.neither = 0;
  const U64 before = session_.sdkCallTotal();
  const AfterCalls watch( [ & ] { sendSome(); } );
  if ( table_.replace( fresh_, by, report_.counts ) )
    return false;
  report_.sdkCalls = session_.sdkCallTotal() - before;
  report_.newEntries = entries();
  report_.callsBetween = by == Replacement::breakBeforeMake ? report_.sdkCalls : 0;
  const EditCounts & counts = report_.counts;
  report_.peakEntries = by == Replacement::breakBeforeMake
                            ? std::max( report_.oldEntries, report_.newEntries )
                            : report_.oldEntries + counts.added;
  return true;
}

}  // namespace

const char * replacementName( Replacement by ) {
  switch ( by ) {
    case Replacement::makeBeforeBreak:
      return "make before break";
    case Replacement::inPlace:
      return "edit in place";
    case Replacement::breakBeforeMake:
      return "break before make";
  }
  return "unknown";
}

std::string replacementText( const ReplaceReport & replace ) {
  if ( !replace.fault.empty() )
    return fmt::format( "  replacement: not possible: {}\n", replace.fault );
  std::string text = fmt::format(
      "  replacement: {}, at most {} entries of {}: {} kept, {} moved, {} added, {} removed, in {} "
      "SDK calls\n",
      replacementName( replace.by ), countText( replace.peakEntries ),
      countText( replace.room.entries() ), countText( replace.counts.kept ),
      countText( replace.counts.moved ), countText( replace.counts.added ),
      countText( replace.counts.removed ), countText( replace.sdkCalls ) );
  if ( replace.callsBetween != 0 )
    text += fmt::format( "    packets can meet neither list during {} SDK calls\n",
                         countText( replace.callsBetween ) );
  if ( replace.packets != 0 )
    text += fmt::format(
        "    applied: {} packets were sent during these, of which {} met neither list\n",
        countText( replace.packets ), countText( replace.neither ) );
  return text;
}

ReplaceReport replaceLists( const Platform::PlatformData & platform, const std::vector< Acl > & old,
                            const std::vector< Acl > & fresh, PortMethod method,
                            const std::vector< Packet > & packets,
                            const std::vector< PortPair > & ports ) {
  std::vector< const Acl * > all;
  for ( const std::vector< Acl > * lists : { &old, &fresh } )
    for ( const Acl & acl : *lists )
      all.push_back( &acl );
  const RangeChoice choice = rangeChoice( method, platform, all );
  std::vector< Probe > probes;
  for ( const Packet & packet : packets ) {
    const PortPair & pair = ports[ probes.size() % ports.size() ];
    probes.push_back( { &packet, pair, expected( platform, old, packet, pair ),
                        expected( platform, fresh, packet, pair ) } );
  }
  ReplaceReport report;
  for ( const Replacement by :
        { Replacement::makeBeforeBreak, Replacement::inPlace, Replacement::breakBeforeMake } ) {
    // What an attempt that does not fit has moved would be in the way of the next one.
    ReplaceJob job( platform, old, fresh, choice, probes, report );
    if ( !job.programOld() || job.replace( by ) )
      return report;
  }
  report.fault = fmt::format( "{} does not fit", fresh.front().name );
  return report;
}

}  // namespace Agent
