#include "agent/space/Diagrams.h"

#include <bdd.h>
#include <fmt/core.h>

#include <algorithm>

#include "kiv/Assert.h"

// The header renames these of its functions to make room for those of its C++ class, which does not
// report errors.
#undef bdd_init
#undef bdd_ithvar
#undef bdd_nithvar

namespace Agent {

namespace {

constexpr int everyPacket = 1;  // the library's number of the constant

constexpr int nodesAtFirst = 50'000;
// Nodes for each entry of the operations' caches.
constexpr int nodesPerCached = 8;

Diagrams * owner = nullptr;
int failure = 0;

// Called from C code, which must not be left by an exception.
extern "C" void noteFailure( int code ) {
  failure = code;
}

}  // namespace

Diagrams::Diagrams( U32 variables, U32 nodesMax ) : nodesMax_( nodesMax ) {
  KIV_ASSERT( owner == nullptr );
  const int most = static_cast< int >( nodesMax );
  const int first = std::min( nodesAtFirst, most );
  if ( bdd_init( first, first / nodesPerCached ) < 0 )
    throw SpaceExhausted( "there is no memory for sets of packets" );
  owner = this;
  failure = 0;
  bdd_error_hook( noteFailure );
  bdd_gbc_hook( nullptr );
  bdd_setmaxincrease( most );  // doubles until then
  bdd_setcacheratio( nodesPerCached );
  bdd_setvarnum( static_cast< int >( variables ) );
  bdd_setmaxnodenum( std::max( most, bdd_getallocnum() + 1 ) );
}

Diagrams::~Diagrams() {
  bdd_done();
  owner = nullptr;
}

void Diagrams::fail() {
  throw SpaceExhausted(
      fmt::format( "{}: the sets of packets take more than {} nodes; --nodes "
                   "allows more",
                   owner->work_, owner->nodesMax_ ) );
}

PacketSet Diagrams::result( int node ) {
  if ( failure != 0 )
    fail();
  return PacketSet( node );
}

PacketSet Diagrams::everything() {
  return PacketSet( everyPacket );
}

PacketSet Diagrams::bit( U32 variable, bool value ) {
  const int index = static_cast< int >( variable );
  return result( value ? bdd_ithvar( index ) : bdd_nithvar( index ) );
}

PacketSet Diagrams::choice( U32 variable, const PacketSet & high, const PacketSet & low ) {
  return result( bdd_ite( bdd_ithvar( static_cast< int >( variable ) ), high.node_, low.node_ ) );
}

bool Diagrams::holds( const PacketSet & set, const std::vector< bool > & bits ) {
  int node = set.node_;
  while ( node > everyPacket )
    node = bits[ static_cast< size_t >( bdd_var( node ) ) ] ? bdd_high( node ) : bdd_low( node );
  return node == everyPacket;
}

std::vector< bool > Diagrams::lowest( const PacketSet & set, U32 variables ) {
  std::vector< bool > bits( variables );
  for ( int node = set.node_; node > everyPacket; ) {
    const bool high = bdd_low( node ) == 0;
    bits[ static_cast< size_t >( bdd_var( node ) ) ] = high;
    node = high ? bdd_high( node ) : bdd_low( node );
  }
  return bits;
}

PacketSet::PacketSet( int node ) : node_( bdd_addref( node ) ) {}

PacketSet::PacketSet( const PacketSet & other ) : node_( bdd_addref( other.node_ ) ) {}

PacketSet & PacketSet::operator=( PacketSet other ) noexcept {
  std::swap( node_, other.node_ );
  return *this;
}

PacketSet::~PacketSet() {
  if ( node_ != 0 )
    bdd_delref( node_ );
}

U32 PacketSet::nodes() const {
  return static_cast< U32 >( bdd_nodecount( node_ ) );
}

PacketSet operator&( const PacketSet & a, const PacketSet & b ) {
  return Diagrams::result( bdd_apply( a.node_, b.node_, bddop_and ) );
}

PacketSet operator|( const PacketSet & a, const PacketSet & b ) {
  return Diagrams::result( bdd_apply( a.node_, b.node_, bddop_or ) );
}

PacketSet operator-( const PacketSet & a, const PacketSet & b ) {
  return Diagrams::result( bdd_apply( a.node_, b.node_, bddop_diff ) );
}

}  // namespace Agent
