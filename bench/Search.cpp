// Lookups in the software ASIC's index, the key at hand, against others over the same rules:
// ClassBench sets of 1,000 and 10,000 rules, where present.

#include <array>
#include <bit>
#include <cstdio>
#include <filesystem>
#include <map>
#include <memory>
#include <random>
#include <string>

#include "agent/acl/MatchFields.h"
#include "agent/read/AclFiles.h"
#include "bench/AclPeer.h"
#include "bench/Compare.h"
#include "bench/LinearSearch.h"
#include "softasic/TernaryIndex.h"

namespace {

using namespace Bench;
using SoftAsic::IndexItem;
using SoftAsic::TernaryIndex;

constexpr U32 words = 4;  // source, destination, ports and protocol, validity bits

U32 prefixMask( U32 bits ) {
  return bits == 0 ? 0 : ~0U << ( 32 - bits );
}

PortRange portsOf( const Agent::PortRange & range ) {
  return { range.low, range.high };
}

std::vector< FlowRule > readRules( const std::string & file ) {
  const auto bits = []( U32 mask ) { return static_cast< U32 >( std::popcount( mask ) ); };
  std::vector< FlowRule > rules;
  for ( const Agent::Acl & acl : Agent::readAclFile( { "set", true }, file, nullptr ).lists )
    for ( const Agent::AclRule & rule : acl.rules )
      rules.push_back( { rule.source.value, bits( rule.source.mask ), rule.destination.value,
                         bits( rule.destination.mask ), portsOf( rule.sourcePorts ),
                         portsOf( rule.destinationPorts ), rule.protocol.value,
                         rule.protocol.mask } );
  return rules;
}

// Values and masks of the prefixes that a range consists of.
std::vector< std::pair< U32, U32 > > prefixesOf( PortRange range ) {
  std::vector< std::pair< U32, U32 > > prefixes;
  for ( const Agent::TernaryBits & bits : Agent::prefixesOf( { range.low, range.high }, 16 ) )
    prefixes.emplace_back( static_cast< U32 >( bits.value.low ),
                           static_cast< U32 >( bits.mask.low ) );
  return prefixes;
}

struct Entry : IndexItem {
  std::array< U64, 2 * words > rule;
};

// A set of rules in each structure, and flows near the rules.
class Set {
 public:
  explicit Set( const std::string & file );

  TernaryIndex index{ words };
  LinearSearch linear;
#ifdef MORVANE_DPDK
  std::unique_ptr< AclPeer > peer;
  std::vector< AclPeer::Key > peerKeys;
#endif
  std::vector< std::array< U64, words > > keys;
  std::vector< LinearSearch::Key > linearKeys;

 private:
  void addEntries( const FlowRule & rule, U32 number );
  void addFlow( const FlowRule & near, std::mt19937 & random );

  std::vector< std::unique_ptr< Entry > > entries_;
};

Set::Set( const std::string & file ) {
  const std::vector< FlowRule > rules = readRules( file );
  for ( U32 i = 0; i < rules.size(); ++i )
    addEntries( rules[ i ], i );
  linear.finish();
#ifdef MORVANE_DPDK
  peer = std::make_unique< AclPeer >( rules );
#endif
  std::mt19937 random( 1 );
  for ( U32 i = 0; i < 10000; ++i )
    addFlow( rules[ random() % rules.size() ], random );
}

void Set::addEntries( const FlowRule & rule, U32 number ) {
  for ( const auto & [ from, fromMask ] : prefixesOf( rule.sourcePorts ) )
    for ( const auto & [ to, toMask ] : prefixesOf( rule.destinationPorts ) ) {
      const U64 ports = ( fromMask | toMask ) != 0 ? 2 : 0;
      const U64 protocol = rule.protocolMask != 0 ? 4 : 0;
      auto entry = std::make_unique< Entry >();
      entry->rule = { rule.source,
                      rule.destination,
                      U64{ from } << 48 | U64{ to } << 32 | U64{ rule.protocol } << 24,
                      1 | ports | protocol,
                      prefixMask( rule.sourceBits ),
                      prefixMask( rule.destinationBits ),
                      U64{ fromMask } << 48 | U64{ toMask } << 32 | U64{ rule.protocolMask } << 24,
                      1 | ports | protocol };
      entry->rank = U64{ number } << 32 | entries_.size();
      entry->key = entry->rule.data();
      index.insert( *entry );
      entries_.push_back( std::move( entry ) );
      linear.add( { rule.source, rule.destination, from << 16 | to, rule.protocol },
                  { prefixMask( rule.sourceBits ), prefixMask( rule.destinationBits ),
                    fromMask << 16 | toMask, rule.protocolMask },
                  number + 1 );
    }
}

void Set::addFlow( const FlowRule & near, std::mt19937 & random ) {
  const auto port = [ & ]( PortRange range ) {
    return static_cast< U16 >( range.low + random() % ( range.high - range.low + 1U ) );
  };
  const auto r = [ & ] { return static_cast< U32 >( random() ); };
  const Flow flow = { near.source | ( r() & ~prefixMask( near.sourceBits ) ),
                      near.destination | ( r() & ~prefixMask( near.destinationBits ) ),
                      port( near.sourcePorts ), port( near.destinationPorts ),
                      near.protocolMask != 0 ? near.protocol : static_cast< U8 >( 17 ) };
  const U32 ports = U32{ flow.sourcePort } << 16 | flow.destinationPort;
  keys.push_back(
      { flow.source, flow.destination, U64{ ports } << 32 | U64{ flow.protocol } << 24, 7 } );
  linearKeys.push_back( { flow.source, flow.destination, ports, flow.protocol } );
  const IndexItem * found = index.lookup( keys.back().data() );
  const U32 number = found == nullptr ? 0 : static_cast< U32 >( found->rank >> 32 ) + 1;
  bool equal = linear.lookup( linearKeys.back() ) == number;
#ifdef MORVANE_DPDK
  peerKeys.push_back( AclPeer::keyOf( flow ) );
  equal = equal && ( !peer->ready() || peer->lookup( peerKeys.back() ) == number );
#endif
  if ( !equal ) {
    std::fprintf( stderr, "Search: the structures find different rules\n" );
    std::exit( 1 );
  }
}

template < class Keys, class Work >
auto onEach( const Keys & keys, Work work ) {
  return [ &keys, work, at = size_t{ 0 } ]() mutable {
    benchmark::DoNotOptimize( work( keys[ at ] ) );
    at = at + 1 == keys.size() ? 0 : at + 1;
  };
}

const Set & setOf( const std::string & name ) {
  static std::map< std::string, std::unique_ptr< Set > > sets;
  auto & set = sets[ name ];
  if ( set == nullptr )
    set = std::make_unique< Set >( std::string( MORVANE_TEST_DATA ) + "/classbench/" + name );
  return *set;
}

[[maybe_unused]] const bool registered = [] {
  if ( !__builtin_cpu_supports( "avx2" ) )  // for the linear search
    return false;
  for ( const std::string name : { "acl1_1k", "fw1_1k", "ipc1_1k", "acl4_10k", "fw4_10k" } ) {
    if ( !std::filesystem::exists( std::string( MORVANE_TEST_DATA ) + "/classbench/" + name ) )
      continue;
    const auto add = [ & ]( const std::string & title, auto run ) {
      benchmark::RegisterBenchmark( ( "chip lookup, " + name + ", " + title ).c_str(), run )
          ->Iterations( 40 )
          ->UseManualTime();
    };
    const auto chip = []( const Set & set ) {
      return onEach( set.keys,
                     [ & ]( const auto & key ) { return set.index.lookup( key.data() ); } );
    };
    add( "ns", [ = ]( benchmark::State & state ) {
      std::vector< double > times;
      for ( auto _ : state ) {
        times.push_back( nanoseconds( 10000, chip( setOf( name ) ) ) );
        state.SetIterationTime( times.back() * 1e-5 );
      }
      report( state, median( times ), 0 );
    } );
    add( "against a linear AVX2 search", [ = ]( benchmark::State & state ) {
      const Set & set = setOf( name );
      compare( state, 10000, 1, chip( set ), onEach( set.linearKeys, [ & ]( const auto & key ) {
                 return set.linear.lookup( key );
               } ) );
    } );
#ifdef MORVANE_DPDK
    add( "against DPDK", [ = ]( benchmark::State & state ) {
      const Set & set = setOf( name );
      if ( !set.peer->ready() )
        return state.SkipWithError( "DPDK does not run here" );
      compare( state, 10000, 1.5, chip( set ), onEach( set.peerKeys, [ & ]( const auto & key ) {
                 return set.peer->lookup( key );
               } ) );
    } );
#endif
  }
  return true;
}();

}  // namespace
