// A short run of tools/walk, audited after every step.

#include "tests/Rounds.h"
#include "tools/random-walk/Stretch.h"

namespace Test::RandomWalk {

class RandomWalkTest : public testing::TestWithParam< Shape > {};

TEST_P( RandomWalkTest, RecordsChipsAndModelAgreeAfterEveryStep ) {
  const Plan plan{ .shape = &GetParam(), .shortest = 400, .longest = 400, .auditEvery = 1 };
  for ( U64 number = 0; number < rounds( 20 ); ++number ) {
    const Stretch stretch = makeStretch( plan, number );
    const std::string wrong = playInChild( stretch );
    ASSERT_EQ( wrong, "" ) << "stretch " << number << ", shortest script:\n" << shrink( stretch );
  }
}

INSTANTIATE_TEST_SUITE_P( Chips, RandomWalkTest,
                          testing::ValuesIn( shapes().begin(), shapes().end() ),
                          []( const auto & shape ) {
                            std::string name = shape.param.name;
                            std::replace( name.begin(), name.end(), '-', '_' );
                            return name;
                          } );

}  // namespace Test::RandomWalk
