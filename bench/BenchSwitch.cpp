#include "bench/BenchSwitch.h"

#include "bench/HeapCount.h"
#include "shim/SdkCall.h"

namespace Bench {

namespace {

constexpr U32 unit = 0;
constexpr U32 group = 1;
constexpr U32 ranks = 1 << 17;  // entries of the range
constexpr U32 qualifiers[] = { bcmFieldQualifyInPorts, bcmFieldQualifySrcIp,
                               bcmFieldQualifyStageIngress, bcmFieldQualifyCount };

}  // namespace

struct BenchSwitch::Tables : Morvane::PlatformTables {
  Morvane::TcamGroup group{ Bench::group, qualifiers };
  Morvane::TcamReservation reservation{
      "bench", Morvane::ipAclTcamGroup,      Bench::group, ranks, false, false,
      false,   Morvane::tcamAllocateOnDemand };
  Morvane::TcamGroupMap map{ 0, Morvane::ipAclTcamGroup, Bench::group };
  Morvane::TcamGroupQualifiers none{ 0, 0, qualifiers };
  Morvane::MorvaneCentral::Attributes attributes_{};

  U32 numTcamGroups() const override { return 1; }
  const Morvane::TcamGroup & tcamGroup( U32 ) const override { return group; }
  U32 numTcamReservations() const override { return 1; }
  Morvane::TcamReservation & tcamReservation( U32 ) override { return reservation; }
  U32 numGroupMapEntries() const override { return 1; }
  const Morvane::TcamGroupMap & groupMap( U32 ) const override { return map; }
  U32 numGroupExcludes() const override { return 0; }
  const Morvane::TcamGroupQualifiers & groupExcludes( U32 ) const override { return none; }
  U32 numGroupIncludes() const override { return 0; }
  const Morvane::TcamGroupQualifiers & groupIncludes( U32 ) const override { return none; }
  S32 chipType( U32 ) const override { return 0; }
  U32 loopbackPort( U32, U32 ) const override { return 0; }
  bool noStatsPerEntry( U32 ) const override { return false; }
  bool requiresMulticastWar( U32 ) const override { return false; }
  bool matchesIPv4( U32 ) const override { return true; }
  bool matchesIPv6( U32 ) const override { return false; }
  const Morvane::MorvaneCentral::Attributes & attributes() const override { return attributes_; }
};

BenchSwitch::BenchSwitch( U32 pipes, U32 copies, U32 live )
    : sdk_( copies == 2 ), tables_( std::make_unique< Tables >() ), desc_( "rule" ), live_( live ) {
  Kiv::ActivityUnlockAnchor::lock().lock();
  Shim::sdk_ = &sdk_;
  Morvane::platformIs( tables_.get() );
  groups_ = Kiv::make< Morvane::MorvaneTcamGroupManager >(
      Kiv::Name( "bench" ), Kiv::Ptr< const Morvane::MorvaneOvidUtBitmapDir >(), false );
  groups_->numPipeIs( pipes );
  groups_->modChipInfoIs( unit, {} );
  groups_->initializedIs( true );
  manager_ = groups_->entryManager( Morvane::ipAclTcamGroup );

  get( manager_->baseEntry() );  // creates the group
  for ( const Morvane::PipeCopy c : groups_->pipeCopies( unit, group ) )
    copies_.push_back( c );
  const HeapUse before = heapUse();
  for ( U32 i = 1; i < live_; ++i ) {
    get( manager_->baseEntry() + i );
    manager_->installEntry( unit, manager_->baseEntry() + i );
  }
  const HeapUse after = heapUse();
  bytesPerEntry_ = static_cast< double >( after.bytes - before.bytes ) / ( live_ - 1 );
  allocationsPerEntry_ =
      static_cast< double >( after.allocations - before.allocations ) / ( live_ - 1 );
}

BenchSwitch::~BenchSwitch() {
  manager_ = nullptr;
  groups_ = nullptr;
  Morvane::platformIs( nullptr );
  Shim::sdk_ = nullptr;
  Kiv::ActivityUnlockAnchor::lock().unlock();
}

// A stride coprime to the number of entries visits all of them, far apart.
U32 BenchSwitch::nextEntry() {
  turn_ = ( turn_ + 7919 ) % live_;
  return manager_->baseEntry() + turn_;
}

void BenchSwitch::get( U32 entry ) {
  manager_->getEntry( unit, entry, desc_ );
}

void BenchSwitch::libraryCycle() {
  const U32 entry = nextEntry();
  manager_->releaseEntry( unit, entry );
  manager_->getEntry( unit, entry, desc_ );
  manager_->installEntry( unit, entry );
  manager_->setPriorityForEntry( unit, entry, 1000 );
  manager_->removeEntry( unit, entry );
}

void BenchSwitch::directCycle() {
  const U32 entry = nextEntry();
  const bcm_field_stat_t types[] = { bcmFieldStatPackets, bcmFieldStatBytes };
  const Shim::SdkCalls call;
  bcm_field_stat_id_t stat = 1;
  const auto forAll = [ & ]( auto && each ) {
    for ( const Morvane::PipeCopy & c : copies_ )
      each( c, c.entryId( entry ) );
  };
  forAll( [ & ]( const Morvane::PipeCopy &, U32 id ) {
    Shim::makeSdkCall( call.bcm_field_entry_policer_detach_all( unit, id ) );
    Shim::makeSdkCall( call.bcm_field_entry_stat_detach( unit, id, stat ) );
    Shim::makeSdkCall( call.bcm_field_stat_destroy( unit, stat ) );
    Shim::makeSdkCall( call.bcm_field_entry_destroy( unit, id ) );
  } );
  forAll( [ & ]( const Morvane::PipeCopy & c, U32 id ) {
    Shim::makeSdkCall( call.bcm_field_entry_create_id( unit, c.pipeGroup, id ) );
  } );
  forAll( [ & ]( const Morvane::PipeCopy & c, U32 id ) {
    Shim::makeSdkCall( call.bcm_field_stat_create( unit, c.pipeGroup, 2, types, &stat ) );
    Shim::makeSdkCall( call.bcm_field_entry_stat_attach( unit, id, stat ) );
  } );
  forAll( [ & ]( const Morvane::PipeCopy &, U32 id ) {
    Shim::makeSdkCall( call.bcm_field_entry_prio_set( unit, id, 1 ) );
  } );
  forAll( [ & ]( const Morvane::PipeCopy & c, U32 id ) {
    if ( !c.first() )
      Shim::makeSdkCall( call.kelmor_field_entry_copy_id( unit, entry, id ) );
    Shim::makeSdkCall( call.bcm_field_entry_install( unit, id ) );
  } );
  forAll( [ & ]( const Morvane::PipeCopy &, U32 id ) {
    Shim::makeSdkCall( call.bcm_field_entry_prio_set( unit, id, 1000 ) );
  } );
  forAll( [ & ]( const Morvane::PipeCopy &, U32 id ) {
    Shim::makeSdkCall( call.bcm_field_entry_remove( unit, id ) );
  } );
}

SecondThread::SecondThread() {
  stop_.lock();
  thread_ = std::thread( [ this ] { const std::lock_guard< std::mutex > wait( stop_ ); } );
}

SecondThread::~SecondThread() {
  stop_.unlock();
  thread_.join();
}

}  // namespace Bench
