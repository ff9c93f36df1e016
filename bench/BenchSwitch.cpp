#include "bench/BenchSwitch.h"

#include "bench/HeapCount.h"
#include "shim/SdkCall.h"

namespace Bench {

namespace {

constexpr U32 group = 1;
constexpr U32 ranks = 1 << 17;  // entries of the range
constexpr U32 qualifiers[] = { bcmFieldQualifyInPorts, bcmFieldQualifySrcIp,
                               bcmFieldQualifyStageIngress, bcmFieldQualifyCount };

}  // namespace

struct BenchSwitch::Tables : Morvane::PlatformTables {
  explicit Tables( U32 users ) {
    for ( U32 i = 0; i < users; ++i ) {
      const auto user = static_cast< Morvane::TcamGroupAssignment >( Morvane::ipAclTcamGroup + i );
      groups.push_back( { Bench::group + 2 * i, qualifiers } );
      reservations.push_back( { "bench", user, Bench::group + 2 * i, i == 0 ? ranks : 1, false,
                                false, false, Morvane::tcamAllocateOnDemand } );
      maps.push_back( { 0, user, Bench::group + 2 * i } );
    }
  }

  std::vector< Morvane::TcamGroup > groups;
  std::vector< Morvane::TcamReservation > reservations;
  std::vector< Morvane::TcamGroupMap > maps;
  Morvane::TcamGroupQualifiers none{ 0, 0, qualifiers };
  Morvane::MorvaneCentral::Attributes attributes_{};

  U32 numTcamGroups() const override { return static_cast< U32 >( groups.size() ); }
  const Morvane::TcamGroup & tcamGroup( U32 i ) const override { return groups[ i ]; }
  U32 numTcamReservations() const override { return static_cast< U32 >( reservations.size() ); }
  Morvane::TcamReservation & tcamReservation( U32 i ) override { return reservations[ i ]; }
  U32 numGroupMapEntries() const override { return static_cast< U32 >( maps.size() ); }
  const Morvane::TcamGroupMap & groupMap( U32 i ) const override { return maps[ i ]; }
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

BenchSwitch::BenchSwitch( const BenchShape & shape )
    : sdk_( shape.copies == 2 ),
      tables_( std::make_unique< Tables >( 1 + shape.otherUsers ) ),
      desc_( "rule" ),
      live_( shape.live ),
      units_( shape.units ) {
  Kiv::ActivityUnlockAnchor::lock().lock();
  Shim::sdk_ = &sdk_;
  Morvane::platformIs( tables_.get() );
  groups_ = Kiv::make< Morvane::MorvaneTcamGroupManager >(
      Kiv::Name( "bench" ), Kiv::Ptr< const Morvane::MorvaneOvidUtBitmapDir >(), false );
  groups_->numPipeIs( shape.pipes );
  for ( U32 unit = 0; unit < units_; ++unit )
    groups_->modChipInfoIs( static_cast< U16 >( unit ), {} );
  groups_->initializedIs( true );
  manager_ = groups_->entryManager( Morvane::ipAclTcamGroup );

  const auto each = [ & ]( U32 i, auto && work ) {
    for ( unit_ = 0; unit_ < units_; ++unit_ )
      work( manager_->baseEntry() + i );
    unit_ = 0;
  };
  each( 0, [ & ]( U32 entry ) { get( entry ); } );  // creates the group
  for ( const Morvane::PipeCopy c : groups_->pipeCopies( unit_, group ) )
    copies_.push_back( c );
  const HeapUse before = heapUse();
  for ( U32 i = 1; i < live_; ++i )
    each( i, [ & ]( U32 entry ) {
      get( entry );
      manager_->installEntry( unit_, entry );
    } );
  const HeapUse after = heapUse();
  const double entries = static_cast< double >( live_ - 1 ) * units_;
  bytesPerEntry_ = static_cast< double >( after.bytes - before.bytes ) / entries;
  allocationsPerEntry_ = static_cast< double >( after.allocations - before.allocations ) / entries;
  if ( shape.otherUsers != 0 )
    for ( U32 unit = 0; unit < units_; ++unit )
      groups_
          ->entryManager(
              static_cast< Morvane::TcamGroupAssignment >( Morvane::ipAclTcamGroup + 1 ) )
          ->exhaustedIs( unit, true );
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
  unit_ = ( unit_ + 1 ) % units_;
  if ( unit_ == 0 )
    turn_ = ( turn_ + 7919 ) % live_;
  return manager_->baseEntry() + turn_;
}

void BenchSwitch::get( U32 entry ) {
  manager_->getEntry( unit_, entry, desc_ );
}

void BenchSwitch::libraryCycle() {
  const U32 entry = nextEntry();
  manager_->releaseEntry( unit_, entry );
  manager_->getEntry( unit_, entry, desc_ );
  manager_->installEntry( unit_, entry );
  manager_->setPriorityForEntry( unit_, entry, 1000 );
  manager_->removeEntry( unit_, entry );
}

void BenchSwitch::directCycle() {
  const U32 entry = nextEntry(), unit = unit_;
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
