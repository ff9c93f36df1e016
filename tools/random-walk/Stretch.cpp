#include "tools/random-walk/Stretch.h"

#include <unistd.h>

#include <algorithm>
#include <filesystem>
#include <random>

namespace Test::RandomWalk {

Stretch makeStretch( const Plan & plan, U64 number ) {
  const std::span< const Shape > all = shapes();
  const Shape & shape = plan.shape != nullptr ? *plan.shape : all[ number % all.size() ];
  std::seed_seq seeds{ U32( plan.seed ), U32( plan.seed >> 32 ), U32( number ),
                       U32( number >> 32 ) };
  std::mt19937_64 random( seeds );
  const size_t steps = plan.shortest + random() % ( plan.longest - plan.shortest + 1 );
  // In a single view every entry id has one owner, over all units.
  const bool singleView = shape.chip.units == 1 && random() % 2 == 0;
  return { shape.name,
           { shape.chip, singleView, plan.auditEvery, "" },
           makeScript( random(), steps, plan.mix ) };
}

std::string play( const Stretch & stretch, Tally & tally ) {
  Walk walk( stretch.setting, tally );
  std::string wrong;
  for ( size_t i = 0; i < stretch.script.size() && wrong.empty(); ++i )
    wrong = walk.run( stretch.script[ i ] );
  return wrong.empty() ? walk.finish() : wrong;
}

// Exceptions of observers are reported on standard error too; they are no findings.
std::string playInChild( const Stretch & stretch ) {
  const Ending ending = inChild( [ & ] {
    alarm( 60 );
    Tally tally;
    const std::string wrong = play( stretch, tally );
    std::fputs( wrong.c_str(), stderr );
    std::fflush( stderr );
    if ( !wrong.empty() )
      _exit( 1 );
  } );
  return ending.failed ? ending.text : "";
}

namespace {

// Removes `count` steps from `at` on if the script still fails without them.
bool leaveOut( Stretch & stretch, size_t at, size_t count ) {
  Stretch shorter = stretch;
  const auto from = shorter.script.begin() + static_cast< std::ptrdiff_t >( at );
  const size_t end = std::min( count, shorter.script.size() - at );
  shorter.script.erase( from, from + static_cast< std::ptrdiff_t >( end ) );
  if ( playInChild( shorter ).empty() )
    return false;
  stretch = shorter;
  return true;
}

// Removes the step's faults or its second activity if the script still fails without them.
void calm( Stretch & stretch, size_t at ) {
  for ( const bool thread : { false, true } ) {
    Stretch calmer = stretch;
    Step & step = calmer.script[ at ];
    if ( thread ? step.arrival == 0 : step.trouble == Trouble::none )
      continue;
    if ( thread )
      step.arrival = 0;
    else
      step.trouble = Trouble::none;
    if ( !playInChild( calmer ).empty() )
      stretch = calmer;
  }
}

}  // namespace

std::string shrink( Stretch stretch ) {
  for ( size_t count = stretch.script.size() / 2; count != 0; count /= 2 )
    for ( size_t at = stretch.script.size(); at > 0; )
      leaveOut( stretch, at = at < count ? 0 : at - count, count );
  for ( size_t at = stretch.script.size(); at-- > 0; )
    if ( !leaveOut( stretch, at, 1 ) )
      calm( stretch, at );
  stretch.setting.auditEvery = 1;
  static U32 findings = 0;
  stretch.setting.record = std::filesystem::temp_directory_path() /
                           fmt::format( "walk-{}-{}.rec", getpid(), ++findings );
  const std::string wrong = playInChild( stretch );
  return fmt::format( "{}{}\nIts SDK calls: {}\n", text( stretch.script ), wrong,
                      stretch.setting.record );
}

}  // namespace Test::RandomWalk
