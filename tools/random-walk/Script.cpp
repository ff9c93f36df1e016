#include "tools/random-walk/Script.h"

#include <fmt/format.h>

#include <random>

#include "tools/random-walk/Walk.h"

namespace Test::RandomWalk {

namespace {

class Dice {
 public:
  explicit Dice( U64 seed ) : random_( seed ) {}

  U32 number() { return static_cast< U32 >( random_() >> 32 ); }
  U32 below( U32 end ) { return static_cast< U32 >( ( U64{ number() } * end ) >> 32 ); }
  bool percent( U32 chance ) { return below( 100 ) < chance; }
  // From 1 on; small numbers more often, because most operations make few calls.
  U32 call() { return 1 + below( 1U << below( 8 ) ); }

  Action action() { return { number(), number(), number(), number(), number() }; }

 private:
  std::mt19937_64 random_;
};

void addTrouble( Step & step, Dice & dice ) {
  step.trouble = dice.percent( 70 ) ? Trouble::exception : Trouble::code;
  step.nth = dice.call();
  const U32 calls[] = { 1, 1, 1, 2, 3, 5, 0, 0 };
  step.times = calls[ dice.below( 8 ) ];
  step.failsCleanup = dice.percent( 30 );
  step.cleansUp = dice.percent( 50 );
}

std::string text( const Action & action ) {
  return fmt::format( "{} {} unit {} a {} b {}", opName( action.op ), userName( action.user ),
                      action.unit, action.a, action.b );
}

std::string text( const Step & step ) {
  std::string line = text( step.action );
  if ( step.trouble != Trouble::none )
    line += fmt::format( "\n    {} call {} times {}{}{}",
                         step.trouble == Trouble::code ? "a code from" : "an exception from",
                         step.nth, step.times, step.failsCleanup ? ", cleanup fails" : "",
                         step.cleansUp ? ", cleanup at once" : "" );
  if ( step.arrival != 0 )
    line +=
        fmt::format( "\n    {} call {}: {}", step.when == Arrival::beforeCall ? "before" : "after",
                     step.arrival, text( step.other ) );
  return line;
}

}  // namespace

Script makeScript( U64 seed, size_t steps, const Mix & mix ) {
  Dice dice( seed );
  Script script( steps );
  for ( Step & step : script ) {
    step.action = dice.action();
    if ( mix.troubles && dice.percent( 6 ) )
      addTrouble( step, dice );
    if ( mix.threads && dice.percent( 10 ) ) {
      step.arrival = dice.call();
      step.when = dice.percent( 50 ) ? Arrival::beforeCall : Arrival::afterCall;
      step.other = dice.action();
    }
  }
  return script;
}

std::string text( const Script & script ) {
  std::string lines;
  for ( const Step & step : script )
    lines += text( step ) + "\n";
  return lines;
}

}  // namespace Test::RandomWalk
