#include "agent/command/Run.h"

#include <algorithm>
#include <tuple>

#include "agent/acl/RuleText.h"
#include "agent/command/MapCommand.h"
#include "agent/feature/AclFeature.h"
#include "agent/feature/AclShares.h"
#include "agent/feature/FieldCover.h"
#include "agent/packets/RandomPackets.h"
#include "agent/report/Progress.h"
#include "agent/session/SwitchSession.h"
#include "agent/verify/RateModel.h"
#include "agent/verify/Replay.h"
#include "agent/verify/audit/Auditor.h"
#include "shim/SdkCall.h"

namespace Agent {

namespace {

constexpr size_t wrongPacketsShown = 10;

PortsBy portsBy( FieldId ports, const AclRule & rule, U32 checker ) {
  if ( checker != 0 )
    return PortsBy::checker;
  const MatchField & field = matchField( ports );
  return restricts( field, rule ) && coverOf( field, rule ).size() > 1 ? PortsBy::prefixes
                                                                       : PortsBy::value;
}

bool hasEgressLists( const std::vector< Acl > & acls ) {
  return std::any_of(
      acls.begin(), acls.end(), []( const Acl & acl ) { return acl.direction == Direction::out; } );
}

// One run. Steps are declared in execution order.
class RunJob {
 public:
  explicit RunJob( const RunInput & input )
      : input_( input ),
        session_( input.platform, input.record, input.sdk ),
        feature_( session_.groupManager(), SwitchSession::unit, input.platform,
                  rangeChoice( input.portMethod, input.platform, input.acls ) ),
        ports_( portsToVerify( input.platform.chip, input.acls, input.ports ) ),
        portMatters_( input.platform.chip.sharedByPipes ||
                      ports_.size() != portOfEveryCopy( input.platform.chip ).size() ) {}

  RunReport run();
  RunReport lend( const UseOfFeature & use );

 private:
  void program();
  void requireEntries();
  void poll();
  void readCapacity();
  void readAlarms();
  StageCapacity stageCapacity( const Morvane::TcamCapacityKey & key,
                               const Morvane::TcamCapacityRow & row );
  void reportAcls();
  AclReport reportAcl( U32 index );
  PortKey portKeyOf( const Acl & acl ) const;
  RuleUse reportRule( const RuleIndex & index );
  void classify();
  void readGroups();
  void drawMap();
  void readUsers();
  std::string usersOf( U32 group ) const;
  std::vector< std::string > listsIn( U32 group ) const;
  void verify();
  bool verifyPacket( Replay & replay, RateModel & rates, const Packet & packet );
  RuleOf ruleOf() const;
  U32 pipeOf( const RuleIndex & rule, U32 port ) const;
  void audit( const std::string & when );

  const RunInput & input_;
  SwitchSession session_;
  AclFeature feature_;
  const std::vector< PortPair > ports_;  // of verification
  const bool portMatters_;               // to the rules that a packet matches
  RunReport report_;
};

RunReport RunJob::run() {
  report_.platform = input_.platform.name;
  report_.description = input_.platform.description;
  report_.unit = SwitchSession::unit;
  report_.defaultAction = input_.defaultAction;
  report_.remarks = input_.remarks;
  report_.madeUp = input_.packets.madeUp;
  report_.verified = input_.verify;
  program();
  requireEntries();
  classify();
  for ( const ClearRequest & request : input_.clears ) {
    clearCounters( session_.groupManager(), SwitchSession::unit, request );
    report_.cleared.push_back( request.text );
  }
  reportAcls();
  readGroups();
  drawMap();
  report_.usage = usageText( session_.groupManager(), report_.platform, report_.unit, input_.show );
  readCapacity();
  if ( input_.verify )
    verify();
  report_.sdkCalls = session_.sdkCalls();
  readUsers();
  feature_.clear();
  readAlarms();
  if ( input_.verify )
    audit( "after release: " );
  session_.requireRecorded();
  return std::move( report_ );
}

RunReport RunJob::lend( const UseOfFeature & use ) {
  program();
  reportAcls();
  use( session_, feature_ );
  session_.requireRecorded();
  return std::move( report_ );
}

void RunJob::program() {
  for ( const StageThreshold & stage : input_.thresholds )
    session_.capacity().thresholdIs( stage.key, stage.threshold );
  poll();
  Progress progress( "programming" );
  U64 done = 0;
  const U64 total = rulesIn( input_.acls );
  // Rules are programmed again when a group is rebuilt.
  feature_.onRuleIs( [ & ] { progress.at( std::min( ++done, total ), total ); } );
  for ( const Acl & acl : input_.acls ) {
    feature_.addAcl( acl, [ this ] { poll(); } );
    poll();
  }
  feature_.onRuleIs( {} );
  if ( input_.defaultAction != Forwarding::none ) {
    report_.defaultShortage = feature_.addDefault( input_.defaultAction );
    poll();
  }
  report_.defaultEntries = feature_.defaultEntries();
}

void RunJob::requireEntries() {
  requireEntry( session_.groupManager(), SwitchSession::unit, input_.show );
  for ( const ClearRequest & request : input_.clears )
    requireHeld( session_.groupManager(), SwitchSession::unit, request );
}

// --- Capacity --------------------------------------------------------------------------------

void RunJob::poll() {
  if ( input_.wantsCapacity() )
    session_.capacity().poll();
}

StageCapacity RunJob::stageCapacity( const Morvane::TcamCapacityKey & key,
                                     const Morvane::TcamCapacityRow & row ) {
  return { key.unit, Morvane::tcamStageName( key.stage ).charPtr(), row,
           session_.capacity().threshold( key ) };
}

void RunJob::readCapacity() {
  if ( !input_.wantsCapacity() )
    return;
  poll();
  report_.capacity.emplace();
  for ( const auto & [ key, row ] : session_.capacityTable().rows() )
    report_.capacity->rows.push_back(
        { stageCapacity( key, row ), session_.capacity().alarm( key ) } );
}

void RunJob::readAlarms() {
  if ( !input_.wantsCapacity() )
    return;
  poll();
  for ( const CapacityAlarm & alarm : session_.capacityTable().alarms() )
    report_.capacity->alarms.push_back( { stageCapacity( alarm.key, alarm.row ), alarm.raised } );
}

// --- Results ---------------------------------------------------------------------------------

void RunJob::reportAcls() {
  for ( U32 acl = 0; acl < input_.acls.size(); ++acl )
    report_.acls.push_back( reportAcl( acl ) );
}

AclReport RunJob::reportAcl( U32 index ) {
  const Acl & acl = input_.acls[ index ];
  AclReport report;
  report.name = acl.name;
  report.file = acl.file;
  report.shortage = feature_.shortage( index );
  for ( U32 rule = 0; rule < acl.rules.size(); ++rule ) {
    report.rules.push_back( reportRule( { index, rule } ) );
    report.entries += report.rules.back().entries;
  }
  report.defaultAction = acl.defaultAction;
  report.defaultOrigin = acl.defaultOrigin;
  report.ports = acl.boundPorts;
  report.direction = acl.direction;
  if ( acl.size() != acl.rules.size() )
    report.defaultEntries =
        EntryPlan( acl, acl.rule( acl.size() - 1 ), {}, portKeyOf( acl ) ).size();
  report.entries += report.defaultEntries;
  report.installed = report.shortage ? 0 : report.entries;
  return report;
}

PortKey RunJob::portKeyOf( const Acl & acl ) const {
  return portKey( input_.platform, *shareOf( input_.platform, classOf( acl ) ), acl.kind );
}

RuleUse RunJob::reportRule( const RuleIndex & index ) {
  const Acl & acl = input_.acls[ index.acl ];
  const AclRule & rule = acl.rules[ index.rule ];
  const ProgrammedRule * programmed = feature_.find( index );
  const RangeCheckers checkers = programmed != nullptr ? programmed->checkers : RangeCheckers();
  RuleUse use;
  use.rule = index.rule;
  use.line = rule.line;
  const EntryPlan plan( acl, rule, checkers, portKeyOf( acl ) );
  use.name = rule.name;
  use.entries = plan.size();
  use.expansion = plan.reason( rule );
  use.sourcePorts = portsBy( FieldId::sourcePorts, rule, checkers.source );
  use.destinationPorts = portsBy( FieldId::destinationPorts, rule, checkers.destination );
  use.wanted = rule.counters;
  use.counters = feature_.counters( index );
  use.police = rule.police;
  if ( programmed != nullptr ) {
    use.match = matchText( acl.kind, rule );
    use.actions = actionsText( rule );
  }
  return use;
}

void RunJob::classify() {
  if ( input_.packets.packets.empty() )
    return;  // a binding takes none
  const bool leaving = hasEgressLists( input_.acls );
  Replay replay( session_, ruleOf() );
  Progress progress( "packets" );
  for ( const Packet & packet : input_.packets.packets ) {
    progress.at( report_.total, input_.packets.packets.size() );
    const PortPair & ports = input_.portsOfPacket( report_.total++ );
    const PacketFate fate = replay.send( packet, ports );
    report_.ingressPorts.insert( ports.in );
    if ( leaving )
      report_.egressPorts.insert( ports.out );
    ++( fate.rules.empty() ? report_.byDefault : report_.matched );
    report_.dropped += fate.drop ? 1 : 0;
    report_.copiedToCpu += fate.copyToCpu ? 1 : 0;
    report_.mirrored += fate.mirrorPorts.empty() ? 0 : 1;
  }
}

void RunJob::readGroups() {
  Morvane::MorvaneTcamGroupManager & manager = session_.groupManager();
  const U32 unit = SwitchSession::unit;
  report_.rangeCheckersMax = input_.platform.chip.rangeCheckers;
  for ( auto it = manager.rangeCheckerIterConst(); it; ++it )
    report_.rangeCheckers += it.member()->unitIdHas( unit ) ? 1 : 0;
  for ( auto it = manager.groupCountsIterConst(); it; ++it ) {
    if ( it.member()->unitRefCount( unit ) <= 0 )
      continue;
    const U32 pipeGroup = it.key().pipeGroupId;
    bcm_field_group_status_s status = {};
    SDK_CHECKED( bcm_field_group_status_get( unit, pipeGroup, &status ) );
    const U32 group = it.key().groupId();
    report_.groups.push_back( { group, usersOf( group ), listsIn( group ), it.key().pipe(),
                                it.key().copy(), static_cast< U32 >( status.entry_count ) } );
  }
  std::stable_sort(
      report_.groups.begin(), report_.groups.end(), []( const GroupUse & a, const GroupUse & b ) {
        return std::tie( a.group, a.pipe, a.copy ) < std::tie( b.group, b.pipe, b.copy );
      } );
}

void RunJob::drawMap() {
  if ( !input_.map )
    return;
  Map::SliceMap slices =
      Map::sliceMap( session_.groupManager(), session_.chip(), SwitchSession::unit );
  nameLists( input_, report_, slices );
  report_.map = Map::svgMap( slices, {} );
}

// Asks the library, which calls the SDK: after the run's own calls were counted.
void RunJob::readUsers() {
  for ( const Platform::ReservationData & share : input_.platform.reservations ) {
    UserUse user = { share.name, {}, share.group, 0, share.size, 0 };
    bool wanted = false;
    for ( U32 i = 0; i < input_.acls.size(); ++i ) {
      if ( shareOf( input_.platform, classOf( input_.acls[ i ] ) ) != &share )
        continue;
      wanted = true;
      if ( !feature_.shortage( i ) )
        user.lists.push_back( input_.acls[ i ].name );
    }
    const auto manager = session_.groupManager().entryManager( share.assignment );
    const auto entries = manager ? manager->internalUnitEntry( SwitchSession::unit ) : nullptr;
    user.used = entries ? static_cast< U32 >( entries->entryCreatedSize() ) : 0;
    if ( !manager || ( !wanted && manager->entriesAllocated( SwitchSession::unit ) == 0 ) )
      continue;
    user.available = manager->entriesAvailable( SwitchSession::unit );
    report_.users.push_back( std::move( user ) );
  }
}

std::string RunJob::usersOf( U32 group ) const {
  std::string users;
  for ( const Platform::ReservationData & user : input_.platform.reservations )
    if ( user.group == group )
      users += ( users.empty() ? "" : ", " ) + user.name;
  return users;
}

std::vector< std::string > RunJob::listsIn( U32 group ) const {
  std::vector< std::string > names;
  for ( U32 i = 0; i < input_.acls.size(); ++i )
    if ( !feature_.shortage( i ) &&
         shareOf( input_.platform, classOf( input_.acls[ i ] ) )->group == group )
      names.push_back( input_.acls[ i ].name );
  return names;
}

void RunJob::verify() {
  feature_.refillPolicers();
  Replay replay( session_, ruleOf() );
  RateModel rates;
  Progress progress( "verifying" );
  U64 done = 0;
  for ( const Packet & packet : input_.packets.packets ) {
    progress.at( done++, input_.packets.packets.size() );
    if ( !verifyPacket( replay, rates, packet ) )
      ++report_.mismatches;
  }
  audit( "" );
}

bool RunJob::verifyPacket( Replay & replay, RateModel & rates, const Packet & packet ) {
  const FrameFields fields = readFrame( packet.frame );
  bool policed = false;
  PacketFate expected;
  bool same = true;
  bool first = true;
  for ( const PortPair & ports : ports_ ) {
    if ( first || policed || portMatters_ )
      expected = expectedFate( feature_.policy(), fieldsAtPort( input_.platform, ports.in, fields ),
                               fieldsLeaving( ports.out, fields ),
                               [ & ]( const RuleIndex & rule, const PoliceRate & rate ) {
                                 policed = true;
                                 return rates.passes( rule, rate, pipeOf( rule, ports.in ),
                                                      packet.frame.size(), packet.time );
                               } );
    first = false;
    const PacketFate fate = replay.send( packet, ports );
    if ( fate == expected )
      continue;
    same = false;
    if ( report_.differences.size() < wrongPacketsShown )
      report_.differences.push_back( fateDifference( packet, ports, expected, fate ) );
  }
  return same;
}

RuleOf RunJob::ruleOf() const {
  return [ this ]( U32 entryId ) { return feature_.ruleOf( entryId ); };
}

// Pipe of the rule's policer that packets of the ingress port use. The egress stage has one table.
U32 RunJob::pipeOf( const RuleIndex & rule, U32 port ) const {
  const SoftAsic::ChipProfile & chip = input_.platform.chip;
  const bool leaving = input_.acls[ rule.acl ].direction == Direction::out;
  return leaving || chip.sharedByPipes ? 0 : port / chip.portsPerPipe;
}

// Poll the capacity before calling this.
void RunJob::audit( const std::string & when ) {
  const Morvane::MorvaneTcamCapacitySm * const capacity =
      input_.wantsCapacity() ? &session_.capacity() : nullptr;
  for ( const std::string & line :
        Audit::audit( session_.groupManager(), session_.chip(), capacity ) )
    report_.differences.push_back( when + line );
}

}  // namespace

RunReport run( const RunInput & input ) {
  return RunJob( input ).run();
}

RunReport withProgrammedSwitch( const RunInput & input,
                                const std::function< void( SwitchSession & ) > & use ) {
  return withProgrammedFeature(
      input, [ & ]( SwitchSession & session, AclFeature & ) { use( session ); } );
}

RunReport withProgrammedFeature( const RunInput & input, const UseOfFeature & use ) {
  return RunJob( input ).lend( use );
}

// Kinds of random packets recur every few packets: each of them gets all ports.
const PortPair & RunInput::portsOfPacket( U64 index ) const {
  const U64 count = ports.size();
  return ports[ ( index + index / ( randomKinds * count ) ) % count ];
}

}  // namespace Agent
