#include "agent/Run.h"

#include <algorithm>
#include <tuple>

#include "agent/Replay.h"
#include "agent/SwitchSession.h"
#include "agent/audit/Auditor.h"
#include "shim/SdkCall.h"

namespace Agent {

namespace {

constexpr size_t wrongPacketsShown = 10;

// One run; its steps in the order in which they stand.
class RunJob {
 public:
  explicit RunJob( const RunInput & input )
      : input_( input ),
        session_( input.platform ),
        feature_( session_.groupManager(), SwitchSession::unit ),
        replay_( session_, feature_ ) {}

  RunReport run();
  void lend( const std::function< void( SwitchSession & ) > & use );

 private:
  void program();
  AclReport programAcl( const Acl & acl );
  void classify();
  void readCounters();
  void readGroups();
  std::string usersOf( U32 group ) const;
  void verify();
  bool verifyPacket( const PacketFields & packet );

  const RunInput & input_;
  SwitchSession session_;
  AclFeature feature_;
  Replay replay_;
  Policy policy_;
  RunReport report_;
};

RunReport RunJob::run() {
  report_.platform = input_.platform.name;
  report_.description = input_.platform.description;
  report_.unit = SwitchSession::unit;
  report_.ingressPort = input_.ingressPort;
  report_.denyByDefault = input_.denyByDefault;
  report_.verified = input_.verify;
  program();
  classify();
  readCounters();
  readGroups();
  if ( input_.verify )
    verify();
  report_.sdkCalls = session_.sdkCalls();
  return std::move( report_ );
}

void RunJob::lend( const std::function< void( SwitchSession & ) > & use ) {
  program();
  use( session_ );
}

void RunJob::program() {
  policy_.denyByDefault = input_.denyByDefault;
  for ( const Acl & acl : input_.acls ) {
    report_.acls.push_back( programAcl( acl ) );
    policy_.acls.push_back( report_.acls.back().shortage ? nullptr : &acl );
  }
  if ( input_.denyByDefault )
    report_.denyShortage = feature_.addDenyRest();
}

AclReport RunJob::programAcl( const Acl & acl ) {
  AclReport report;
  report.name = acl.name;
  report.file = acl.file;
  const CompiledAcl compiled = compileAcl( acl );
  for ( U32 i = 0; i < compiled.size(); ++i ) {
    const auto entries = static_cast< U32 >( compiled[ i ].size() );
    report.entries += entries;
    report.rules.push_back( { i, acl.rules[ i ].line, entries, 0, 0, acl.rules[ i ].text } );
  }
  report.shortage = feature_.addAcl( acl, compiled );
  report.installed = report.shortage ? 0 : report.entries;
  return report;
}

void RunJob::classify() {
  for ( const PacketFields & packet : input_.packets ) {
    const PacketFate fate = replay_.send( packet, input_.ingressPort );
    ++report_.total;
    ++( fate.rule ? report_.matched : report_.byDefault );
  }
}

void RunJob::readCounters() {
  for ( U32 acl = 0; acl < report_.acls.size(); ++acl ) {
    for ( RuleUse & use : report_.acls[ acl ].rules ) {
      const RuleCounters counters = feature_.counters( { acl, use.rule } );
      use.packets = counters.packets;
      use.bytes = counters.bytes;
    }
  }
}

void RunJob::readGroups() {
  Morvane::MorvaneTcamGroupManager & manager = session_.groupManager();
  const U32 unit = SwitchSession::unit;
  for ( auto it = manager.groupCountsIterConst(); it; ++it ) {
    if ( it.member()->unitRefCount( unit ) <= 0 )
      continue;
    const U32 pipeGroup = it.key().pipeGroupId;
    bcm_field_group_status_s status = {};
    SDK_CHECKED( bcm_field_group_status_get( unit, pipeGroup, &status ) );
    const U32 group = it.key().groupId();
    report_.groups.push_back( { group, usersOf( group ), it.key().pipe(), it.key().copy(),
                                static_cast< U32 >( status.entry_count ),
                                static_cast< U32 >( status.entries_free ) } );
  }
  std::stable_sort(
      report_.groups.begin(), report_.groups.end(), []( const GroupUse & a, const GroupUse & b ) {
        return std::tie( a.group, a.pipe, a.copy ) < std::tie( b.group, b.pipe, b.copy );
      } );
}

std::string RunJob::usersOf( U32 group ) const {
  std::string users;
  for ( const Platform::ReservationData & user : input_.platform.reservations ) {
    if ( user.group == group )
      users += ( users.empty() ? "" : ", " ) + user.name;
  }
  return users;
}

void RunJob::verify() {
  for ( const PacketFields & packet : input_.packets ) {
    if ( !verifyPacket( packet ) )
      ++report_.mismatches;
  }
  const auto audit = Audit::audit( session_.groupManager(), session_.chip() );
  report_.differences.insert( report_.differences.end(), audit.begin(), audit.end() );
}

bool RunJob::verifyPacket( const PacketFields & packet ) {
  const PacketFate expected = expectedFate( policy_, packet );
  bool same = true;
  for ( const U32 port : replay_.portOfEveryCopy() ) {
    const PacketFate fate = replay_.send( packet, port );
    if ( fate == expected )
      continue;
    same = false;
    if ( report_.differences.size() < wrongPacketsShown )
      report_.differences.push_back( fateDifference( packet, port, expected, fate ) );
  }
  return same;
}

}  // namespace

bool RunReport::allWell() const {
  for ( const AclReport & acl : acls ) {
    if ( acl.shortage )
      return false;
  }
  return !denyShortage && mismatches == 0 && differences.empty();
}

RunReport run( const RunInput & input ) {
  return RunJob( input ).run();
}

void withProgrammedSwitch( const RunInput & input,
                           const std::function< void( SwitchSession & ) > & use ) {
  RunJob( input ).lend( use );
}

}  // namespace Agent
