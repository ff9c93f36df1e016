#include "tools/random-walk/Walk.h"

#include <fcntl.h>
#include <unistd.h>

namespace Test::RandomWalk {

const Walk::Kind Walk::kinds[] = { { "get", 14, &Walk::get },
                                   { "program", 12, &Walk::program },
                                   { "install", 3, &Walk::install },
                                   { "enable", 4, &Walk::enable },
                                   { "prioritize", 4, &Walk::prioritize },
                                   { "remove", 4, &Walk::remove },
                                   { "release", 9, &Walk::release },
                                   { "attach", 8, &Walk::attach },
                                   { "count", 2, &Walk::count },
                                   { "compress", 3, &Walk::compress },
                                   { "ask", 4, &Walk::ask },
                                   { "group", 4, &Walk::group },
                                   { "udf", 9, &Walk::udf },
                                   { "checker", 5, &Walk::getChecker },
                                   { "uncheck", 4, &Walk::releaseChecker },
                                   { "police", 5, &Walk::police },
                                   { "bitmap", 6, &Walk::bitmap },
                                   { "report", 2, &Walk::report },
                                   { "clear", 2, &Walk::clear },
                                   { "poll", 3, &Walk::poll },
                                   { "clean up", 1, &Walk::cleanUp },
                                   { "reinit", 1, &Walk::reInit } };

const Walk::Kind & Walk::kindOf( U32 op ) {
  U32 sum = 0;
  for ( const Kind & kind : kinds )
    sum += kind.weight;
  op %= sum;
  const Kind * kind = kinds;
  for ( ; op >= kind->weight; ++kind )
    op -= kind->weight;
  return *kind;
}

const char * opName( U32 op ) {
  return Walk::kindOf( op ).name;
}

std::string userName( U32 user ) {
  return enumName( users[ user % std::size( users ) ].assignment );
}

Tally & Tally::operator+=( const Tally & other ) {
  operations += other.operations;
  exceptions += other.exceptions;
  codes += other.codes;
  arrivals += other.arrivals;
  return *this;
}

Walk::Walk( const Setting & setting, Tally & tally )
    : setting_( setting ),
      tally_( tally ),
      sw_( setting.chip, setting.record ),
      units_( setting.chip.units ),
      nowhere_( open( "/dev/null", O_WRONLY ) ) {
  Qualifiers ingress = { bcmFieldQualifyDstIp, bcmFieldQualifyInPorts };
  if ( sw_.chip.shared )
    ingress.push_back( bcmFieldQualifyOuterVlanId );
  for ( const U32 group : { 1U, 4U, 5U, 6U } )
    sw_.platform.group( group, ingress );
  ingress.push_back( bcmFieldQualifyInPort );
  sw_.platform.group( singlePortGroup, ingress );
  sw_.platform.group(
      lookupGroup, { bcmFieldQualifyDstIp, bcmFieldQualifyInPorts, bcmFieldQualifyStageLookup } );
  for ( const User & user : users ) {
    sw_.platform.user( user.assignment, user.group, user.size, user.strategy );
    sw_.platform.users.back().mirroringAclUdf = true;
  }
  sw_.log.keepRecords( false );
  sw_.start( setting.singleView );
  capacity_ = Kiv::make< MorvaneTcamCapacitySm >( Kiv::Name( "capacity" ), sw_.groups, &table_ );
  for ( U32 unit = 0; unit < sw_.chip.units; ++unit )
    capacity_->thresholdIs( { unit, 0 }, { 60, 40 } );
}

Walk::~Walk() {
  close( nowhere_ );
}

// --- One step --------------------------------------------------------------------------------

std::string Walk::run( const Step & step ) {
  wrong_.clear();
  std::string wrong = apply( step.action, &step );
  tally_.arrivals += sw_.second.join();
  if ( !wrong_.empty() )
    wrong = wrong_;
  ++tally_.step;
  return wrong.empty() ? check( step ) : wrong;
}

std::string Walk::apply( const Action & action, const Step * step ) {
  const Turn turn{ action, users[ action.user % std::size( users ) ], action.unit % sw_.chip.units,
                   step };
  return ( this->*kindOf( action.op ).run )( turn );
}

U32 Walk::unfinished() const {
  U32 steps = 0;
  for ( U32 unit = 0; unit < sw_.chip.units; ++unit )
    steps += sw_.groups->unfinishedCleanup( unit );
  return steps;
}

std::string Walk::check( const Step & step ) {
  const bool all = tally_.step % setting_.auditEvery == 0;
  if ( !all && unfinished() != 0 )
    return "";
  const std::string wrong = all ? checkAll() : "";
  const U32 unit = step.action.unit % sw_.chip.units;
  return wrong.empty() ? comparePacket( sw_, unit, units_[ unit ], step.action.a, step.action.b )
                       : wrong;
}

std::string Walk::checkAll() {
  for ( U32 unit = 0; unit < sw_.chip.units; ++unit )
    sw_.groups->finishCleanup( unit );
  capacity_->poll();
  std::string wrong = sw_.audit( &*capacity_ );
  for ( U32 unit = 0; unit < sw_.chip.units && wrong.empty(); ++unit )
    wrong = compareRules( sw_, unit, units_[ unit ] );
  return wrong;
}

void Walk::fault( const std::string & text ) {
  if ( wrong_.empty() )
    wrong_ = text;
}

// --- One operation of the library ------------------------------------------------------------

// Whether calls may fail.
bool Walk::arm( const Turn & turn, const Terms & terms ) {
  const Step & step = *turn.step;
  first_ = { terms, turn.unit, turn.user.group };
  // The second activity must not get the first one's faults.
  if ( step.arrival != 0 && !( terms.inSteps && step.trouble != Trouble::none ) )
    sw_.second.arm( step.arrival, step.when, { [ this, other = step.other ] {
                      try {
                        fault( apply( other, nullptr ) );
                      } catch ( const std::exception & exception ) {
                        fault( fmt::format( "the second activity threw {}", exception.what() ) );
                      }
                    } } );
  if ( step.trouble == Trouble::exception ) {
    sw_.faults.arm( { .thread = std::this_thread::get_id(),
                      .nth = step.nth,
                      .times = step.times,
                      .exception = std::make_exception_ptr( Injected() ) } );
    return true;
  }
  // Cleanup that is made first does not survive the codes that the operation does.
  if ( step.trouble == Trouble::code && !terms.codes.empty() &&
       sw_.groups->unfinishedCleanup( turn.unit ) == 0 ) {
    const Code & code = terms.codes[ turn.action.b % terms.codes.size() ];
    sw_.faults.arm( { .op = code.op,
                      .unit = turn.unit,
                      .pipe = code.pipe,
                      .thread = std::this_thread::get_id(),
                      .nth = code.times == 0 || code.first ? 1 : 1 + step.nth % 4,
                      .times = code.times,
                      .rc = code.rc } );
    return true;
  }
  return false;
}

bool Walk::attempt( const Turn & turn, const Terms & terms,
                    const std::function< void() > & operation ) {
  ++tally_.operations;
  if ( turn.step == nullptr ) {
    operation();
    codeFired_ = false;
    return true;
  }
  const bool throws = turn.step->trouble == Trouble::exception;
  const U32 cleanup = sw_.groups->unfinishedCleanup( turn.unit );
  const bool compares = throws && terms.left == Left::before && unfinished() == 0;
  const std::string before = compares ? sw_.state() : "";
  const bool armed = arm( turn, terms );
  bool thrown = false;
  try {
    operation();
  } catch ( const Injected & ) {
    thrown = true;
  }
  const bool fired = armed && sw_.faults.fired();
  codeFired_ = fired && !throws;
  ( throws ? tally_.exceptions : tally_.codes ) += fired;
  if ( thrown )
    recover( turn, terms, before );
  sw_.faults.disarm();
  sw_.second.disarm();
  // What needs no SDK call on the unit leaves the unit's cleanup as it is; all else finishes it.
  const U32 left = sw_.groups->unfinishedCleanup( turn.unit );
  if ( !throws && left != 0 && left != cleanup )
    fault( fmt::format( "a successful operation left {} cleanup steps of {}", left, cleanup ) );
  return !thrown;
}

void Walk::recover( const Turn & turn, const Terms & terms, const std::string & before ) {
  if ( turn.step->failsCleanup )
    try {
      sw_.groups->finishCleanup( turn.unit );
    } catch ( const Injected & ) {
    }
  sw_.faults.disarm();
  if ( turn.step->cleansUp )
    sw_.groups->finishCleanup( turn.unit );
  if ( terms.left != Left::before || before.empty() || unfinished() != 0 || sw_.second.arrived() )
    return;
  if ( const std::string now = sw_.state(); now != before )
    fault( "an exception left another state:\n" + difference( before, now ) );
}

bool Walk::mayUse( const Turn & turn ) const {
  return turn.step != nullptr || !first_.terms.everything;
}

std::pair< const U32, Rule > * Walk::choose( const Turn & turn, bool alone ) {
  const bool second = turn.step == nullptr;
  if ( !mayUse( turn ) || ( second && first_.terms.allOfGroup && first_.unit == turn.unit &&
                            first_.group == turn.user.group ) )
    return nullptr;
  std::vector< std::pair< const U32, Rule > * > all;
  for ( auto & rule : units_[ turn.unit ].rules ) {
    const bool busy =
        second && alone && first_.unit == turn.unit && first_.terms.entry == rule.first;
    if ( rule.second.user == &turn.user && !rule.second.leaving && !busy )
      all.push_back( &rule );
  }
  return all.empty() ? nullptr : all[ turn.action.a % all.size() ];
}

}  // namespace Test::RandomWalk
