#include "agent/read/IptablesChains.h"

#include <fmt/core.h>

#include <algorithm>

#include "agent/read/MatchSets.h"

namespace Agent {

namespace {

// A list may have this many values in its rules more than twice those of the chains.
constexpr U64 growthMax = 65536;
constexpr U64 workPerValue = 16;
constexpr U32 depthMax = 128;

bool calls( const ChainRule & rule ) {
  return rule.verdict == ChainVerdict::call || rule.verdict == ChainVerdict::go;
}

bool matchesAll( const AclRule & rule ) {
  const auto fields = matchFields();
  return std::none_of( fields.begin(), fields.end(),
                       [ & ]( const MatchField & field ) { return restricts( field, rule ); } );
}

// Later fragments have none of these fields.
bool restrictsL4( const AclRule & rule ) {
  const auto fields = matchFields();
  return std::any_of( fields.begin(), fields.end(), [ & ]( const MatchField & field ) {
    return field.needs != FieldNeeds::nothing && restricts( field, rule );
  } );
}

U64 valuesOf( const AclRule & rule ) {
  return 1 + rule.alternatives.size();
}

// Where packets go on that a called chain does not decide about.
struct Caller {
  U32 chain;
  size_t next;  // rule
  const Caller * caller;
};

class Flattener {
 public:
  Flattener( const AclDocument & document, const std::vector< Chain > & chains, U32 chain )
      : document_( document ), chains_( chains ), top_( chains[ chain ] ) {
    for ( const Chain & each : chains )
      for ( const ChainRule & rule : each.rules )
        valuesMax_ += 2 * valuesOf( rule.match );
    workMax_ = workPerValue * valuesMax_;
    run( chain, 0, nullptr, nullptr, 0 );
  }

  std::vector< AclRule > rules;

 private:
  // A null condition is met by all packets.
  void run( U32 chain, size_t first, const AclRule * condition, const Caller * caller, U32 depth );
  // False if the rest of the chain has no packets.
  bool apply( const ChainRule & rule, const AclRule & met, const Caller & here, U32 depth );
  void resume( const AclRule & met, const Caller * caller, U32 depth );
  void add( AclRule rule, Forwarding action, const std::string & name );
  void work( U64 units );
  [[noreturn]] void fail( const std::string & what ) const;

  const AclDocument & document_;
  const std::vector< Chain > & chains_;
  const Chain & top_;
  U64 values_ = 0;
  U64 valuesMax_ = growthMax;
  U64 work_ = 0;
  U64 workMax_ = 0;
};

void Flattener::fail( const std::string & what ) const {
  throw Platform::InputError( document_.refusals.file(), top_.place, what );
}

void Flattener::work( U64 units ) {
  work_ += units;
  if ( work_ > workMax_ )
    fail( fmt::format( "with the chains that it calls it takes more than {} steps", workMax_ ) );
}

void Flattener::add( AclRule rule, Forwarding action, const std::string & name ) {
  if ( rule.fragments == Fragments::later && restrictsL4( rule ) )
    return;
  values_ += valuesOf( rule );
  if ( values_ > valuesMax_ )
    fail( fmt::format( "with the chains that it calls it has more than {} rules and values",
                       valuesMax_ ) );
  document_.requireRoom( top_.name, rules.size(), { rule.line, rule.column } );
  rule.forwarding = action;
  if ( name != top_.name )
    rule.name = name;
  rules.push_back( std::move( rule ) );
}

void Flattener::run( U32 chain, size_t first, const AclRule * condition, const Caller * caller,
                     U32 depth ) {
  if ( depth > depthMax )
    fail( fmt::format( "its calls and returns are nested more than {} deep", depthMax ) );
  const std::vector< ChainRule > & all = chains_[ chain ].rules;
  for ( size_t i = first; i < all.size(); ++i ) {
    const ChainRule & rule = all[ i ];
    work( 1 );
    if ( rule.verdict == ChainVerdict::none )
      continue;
    AclRule met = condition == nullptr ? rule.match : *condition;
    if ( condition != nullptr ) {
      work( condition->alternatives.size() * valuesOf( rule.match ) );
      met.line = rule.match.line;
      met.column = rule.match.column;
      const Meet meet = restrictTo( met, rule.match );
      if ( meet == Meet::none )
        continue;
      if ( meet == Meet::many )
        fail( fmt::format( "line {} needs more than {} values in a field", met.line,
                           alternativesMax ) );
    }
    if ( !apply( rule, met, { chain, i + 1, caller }, depth ) )
      return;
  }
}

bool Flattener::apply( const ChainRule & rule, const AclRule & met, const Caller & here,
                       U32 depth ) {
  const bool all = matchesAll( rule.match );
  const std::string & name = chains_[ here.chain ].name;
  switch ( rule.verdict ) {
    case ChainVerdict::none:
      break;
    case ChainVerdict::accept:
      add( met, Forwarding::permit, name );
      return !all;
    case ChainVerdict::drop:
      add( met, Forwarding::drop, name );
      return !all;
    case ChainVerdict::back:
      if ( !all )
        resume( met, here.caller, depth );
      return !all;
    case ChainVerdict::call:
      run( rule.chain, 0, matchesAll( met ) ? nullptr : &met, &here, depth + 1 );
      break;
    case ChainVerdict::go:
      run( rule.chain, 0, matchesAll( met ) ? nullptr : &met, here.caller, depth + 1 );
      if ( !all )
        resume( met, here.caller, depth );
      return !all;
  }
  return true;
}

void Flattener::resume( const AclRule & met, const Caller * caller, U32 depth ) {
  if ( caller == nullptr )
    return add( met, top_.policy, "policy" );
  run( caller->chain, caller->next, &met, caller->caller, depth + 1 );
  resume( met, caller->caller, depth + 1 );
}

// Depth first; a call of a chain whose own calls are being walked closes a loop.
class LoopSearch {
 public:
  LoopSearch( std::vector< Chain > & chains, Refusals & refusals )
      : chains_( chains ), refusals_( refusals ), states_( chains.size() ) {
    for ( U32 chain = 0; chain < chains.size(); ++chain )
      if ( states_[ chain ] == State::unseen )
        walk( chain );
  }

 private:
  enum class State : U8 { unseen, open, done };
  struct Step {
    U32 chain;
    size_t rule;
  };

  void walk( U32 start ) {
    std::vector< Step > path = { { start, 0 } };
    states_[ start ] = State::open;
    while ( !path.empty() ) {
      Chain & chain = chains_[ path.back().chain ];
      if ( path.back().rule == chain.rules.size() ) {
        states_[ path.back().chain ] = State::done;
        path.pop_back();
        continue;
      }
      ChainRule & rule = chain.rules[ path.back().rule++ ];
      if ( !calls( rule ) )
        continue;
      if ( states_[ rule.chain ] == State::open ) {
        refusals_.add( { rule.match.line, rule.match.column }, chain.name, "",
                       fmt::format( "the call of {} closes a loop", chains_[ rule.chain ].name ) );
        rule.verdict = ChainVerdict::none;
      } else if ( states_[ rule.chain ] == State::unseen ) {
        states_[ rule.chain ] = State::open;
        path.push_back( { rule.chain, 0 } );
      }
    }
  }

  std::vector< Chain > & chains_;
  Refusals & refusals_;
  std::vector< State > states_;
};

}  // namespace

void addTo( Chain & chain, ChainRule rule ) {
  const bool decides = rule.verdict == ChainVerdict::accept || rule.verdict == ChainVerdict::drop;
  if ( decides && !chain.closed && rule.match.fragments != Fragments::later ) {
    ++chain.sure;
    chain.closed = matchesAll( rule.match );
  }
  chain.rules.push_back( std::move( rule ) );
}

void refuseLoops( std::vector< Chain > & chains, Refusals & refusals ) {
  LoopSearch( chains, refusals );
}

std::vector< AclRule > flattened( const AclDocument & document, const std::vector< Chain > & chains,
                                  U32 chain ) {
  return Flattener( document, chains, chain ).rules;
}

}  // namespace Agent
