// Strings, formatting, value types, enumerations, hashes, and text forms read back.
#include <gtest/gtest.h>

#include <array>
#include <climits>
#include <cstdarg>
#include <cstdio>
#include <random>
#include <set>
#include <sstream>
#include <stdexcept>
#include <string>

#include "kiv/Entity.h"
#include "kiv/Enum.h"
#include "kiv/Format.h"
#include "kiv/StrepParse.h"
#include "kiv/ValueType.h"

#define TEST_FRUITS( X ) X( apple ) X( pear )

namespace {

using namespace Kiv::Integers;
using Kiv::genericIfFromStrRep;
using Kiv::String8;
using Kiv::valueToStrep;

KIV_ENUM( Fruit, TEST_FRUITS );
enum class Plain : S8 { low = -128 };

// A record that is not a value type, like those of the SDK.
struct Inner {
  Fruit fruit = pear;
  U16 words[ 3 ] = {};
  static constexpr const char * typeName = "Test::Inner";
  static constexpr auto fields() {
    return std::tuple( Kiv::field( "fruit", &Inner::fruit ), Kiv::field( "words", &Inner::words ) );
  }
  friend bool operator==( const Inner &, const Inner & ) = default;
};

struct Point : Kiv::Value {
  U32 x = 0;
  S8 y = 0;
  Fruit fruit = apple;
  String8 label;
  static constexpr const char * typeName = "Test::Point";
  static constexpr auto fields() {
    return std::tuple( Kiv::field( "x", &Point::x ), Kiv::field( "y", &Point::y ),
                       Kiv::field( "fruit", &Point::fruit ), Kiv::field( "label", &Point::label ) );
  }
};

struct Outer : Kiv::Value {
  Inner inner;
  Point point;
  S8 bounded = 0;
  bool flag = false;
  static constexpr Kiv::Limits limits{ 1, 100, "Outer::bounded is not right" };
  static constexpr const char * typeName = "Test::Outer";
  static constexpr auto fields() {
    return std::tuple( Kiv::field( "inner", &Outer::inner ), Kiv::field( "point", &Outer::point ),
                       Kiv::field( "bounded", &Outer::bounded, limits ),
                       Kiv::field( "flag", &Outer::flag ) );
  }
};

TEST( String8Test, AppendingLeavesOtherHoldersUnchanged ) {
  String8 text( "fp entry" );
  text += " create";  // leaves spare capacity: the next append would fit
  String8 holder = text;
  text += "7";
  EXPECT_EQ( holder, "fp entry create" );
  EXPECT_EQ( text, "fp entry create7" );
  holder += "8";
  EXPECT_EQ( text, "fp entry create7" );
  EXPECT_EQ( holder.charPtr()[ holder.size() ], '\0' );
}

TEST( String8Test, IsCopiedAFewTimesWhileItGrows ) {
  String8 text;
  int copies = 0;
  for ( int i = 0; i < 10000; ++i ) {
    const char * const before = text.charPtr();
    text += "x";
    copies += text.charPtr() == before ? 0 : 1;
  }
  EXPECT_LE( copies, 16 );
}

TEST( String8Test, AppendsItselfAndItsParts ) {
  for ( int length = 1; length < 40; ++length ) {
    std::string expected( static_cast< std::size_t >( length ), 'a' );
    String8 text( expected );
    for ( int round = 0; round < 4; ++round ) {
      text += text;
      expected += expected;
      text += text.view().substr( 1 );
      expected += expected.substr( 1 );
      ASSERT_EQ( text.view(), expected );
    }
  }
}

TEST( String8Test, HoldsEmptyAndBinaryText ) {
  EXPECT_EQ( sizeof( String8 ), sizeof( void * ) );
  EXPECT_STREQ( String8( static_cast< const char * >( nullptr ) ).charPtr(), "" );
  EXPECT_THROW( String8( std::string_view( "", 0x80000000U ) ), std::length_error );
  String8 binary( std::string_view( "a\0b", 3 ) );
  EXPECT_EQ( binary.size(), 3u );
  EXPECT_GT( binary, "a" );
  EXPECT_LT( String8( "a\x7f" ), String8( "a\x80" ) );  // bytes compare unsigned
}

[[gnu::format( printf, 1, 2 )]] void expectTextOfPrintf( const char * fmt, ... ) {
  std::va_list args;
  va_start( args, fmt );
  std::va_list again;
  va_copy( again, args );
  std::string text = "before ";
  Kiv::appendArgs( text, fmt, args );
  std::array< char, 8192 > expected;
  std::vsnprintf( expected.data(), expected.size(), fmt, again );
  EXPECT_EQ( text, "before " + std::string( expected.data() ) ) << fmt;
  va_end( again );
  va_end( args );
}

TEST( FormatTest, TextsAreThoseOfPrintf ) {
  expectTextOfPrintf( "no conversion" );
  expectTextOfPrintf( "%s", "" );
  expectTextOfPrintf( "    %-10d %12lld hits - %s\n", -65536, 1234567890123LL, "rule" );
  expectTextOfPrintf( "%d%u%x%3d|%-3u|%8x|%10s|%-10s|", INT_MIN, 4000000000U, 0xdeadbeefU, 1234, 5U,
                      255U, "right", "left" );
  expectTextOfPrintf( "%lld %llu %-20llx|", LLONG_MIN, ULLONG_MAX, ULLONG_MAX );
  // From the first conversion of another kind on.
  expectTextOfPrintf( "%d %% %05d %s %+d %.2f %c %ld %#x", 1, 2, "three", 4, 5.0, 'c', 7L, 8 );
  for ( int length : { 1, 254, 255, 256, 257, 5000 } )
    expectTextOfPrintf( "%d:%*s|", length, length, "x" );
  const std::string text( 5000, 'x' );
  EXPECT_EQ( Kiv::format( "%s|%d", text.c_str(), 1 ).view(), text + "|1" );
}

TEST( StrepTest, ValuesHaveOneTextForm ) {
  EXPECT_EQ( valueToStrep( U8( 65 ) ), "65" );
  EXPECT_EQ( valueToStrep( S64( INT64_MIN ) ), "-9223372036854775808" );
  EXPECT_EQ( valueToStrep( U64( UINT64_MAX ) ), "18446744073709551615" );
  EXPECT_EQ( valueToStrep( String8( std::string_view( "it's\\\n\0\xff", 8 ) ) ),
             "'it\\'s\\\\\\n\\x00\\xff'" );
  EXPECT_EQ( valueToStrep( String8( "\x1f ~\x7f\r\t" ) ), "'\\x1f ~\\x7f\\r\\t'" );
  EXPECT_EQ( valueToStrep( Fruit( 3 ) ), "3" );
  EXPECT_EQ( valueToStrep( Plain::low ), "-128" );
  EXPECT_EQ( valueToStrep( Kiv::make< Kiv::Entity >( "owner" ) ), "'owner'" );
  EXPECT_EQ( valueToStrep( Kiv::Ptr< Kiv::Entity >() ), "None" );
  std::ostringstream out;
  out << Fruit( 7 ) << apple << ' '
      << Outer{ {}, { pear, { 1, 2, 3 } }, { {}, 1, -2, pear, "a" }, 5, true };
  EXPECT_EQ( out.str(),
             "7apple Value('Test::Outer', ** {'inner': Value('Test::Inner', ** {'fruit': pear, "
             "'words': [1, 2, 3]}), 'point': Value('Test::Point', ** {'x': 1, 'y': -2, "
             "'fruit': pear, 'label': 'a'}), 'bounded': 5, 'flag': True})" );
}

template < class T >
void expectInverse( const T & value ) {
  const String8 text = valueToStrep( value );
  EXPECT_EQ( genericIfFromStrRep< T >( text.view() ), value ) << text;
}

template < class... Integers >
void expectInverseOfIntegers( std::mt19937_64 & random ) {
  ( expectInverse( std::numeric_limits< Integers >::min() ), ... );
  ( expectInverse( std::numeric_limits< Integers >::max() ), ... );
  for ( int i = 0; i < 200; ++i )
    ( expectInverse( static_cast< Integers >( random() >> random() % 64 ) ), ... );
}

TEST( StrepTest, RandomValuesReadBack ) {
  std::mt19937_64 random( 11 );
  expectInverseOfIntegers< U8, S8, S32, S64, U64 >( random );
  for ( int round = 0; round < 200; ++round ) {
    Outer outer;
    std::string label;
    for ( U64 length = random() % 20; label.size() < length; )
      label += static_cast< char >( random() );
    outer.point.label = std::string_view( label );
    outer.bounded = static_cast< S8 >( 1 + random() % 100 );
    outer.flag = random() % 2 != 0;
    outer.inner.fruit = static_cast< Fruit >( random() % 4 );  // two of the values have no name
    for ( U16 & word : outer.inner.words )
      word = static_cast< U16 >( random() );
    expectInverse( outer );
    expectInverse( Kiv::Name( outer.point.label ) );
  }
  expectInverse( Plain::low );
}

// The exception's text; empty if the text was read.
template < class T, class Exception = Kiv::TypeException >
std::string refusal( std::string_view text ) {
  try {
    genericIfFromStrRep< T >( text );
  } catch ( const Exception & exception ) {
    return exception.what();
  }
  return "";
}

TEST( StrepTest, RefusesOtherFormsAndNamesTheLimit ) {
  using Kiv::RangeException;
  for ( const char * text : { "", "+1", "01", "-0", "0x1", " 1", "1 ", "1.0", "one", "-" } )
    EXPECT_NE( refusal< S32 >( text ), "" ) << text;
  EXPECT_EQ( refusal< U32 >( "7up" ), "expected the end at 'up'" );
  EXPECT_EQ( refusal< U32 >( "" ), "expected U32 where the text ends" );
  EXPECT_EQ( refusal< U32 >( std::string( 41, 'x' ) ),
             "expected U32 at '" + std::string( 40, 'x' ) + "'" );
  EXPECT_EQ( ( refusal< U8, RangeException >( "256" ) ), "256 is out of range for U8" );
  EXPECT_EQ( ( refusal< U8, RangeException >( "-1" ) ), "-1 is out of range for U8" );
  EXPECT_EQ( ( refusal< S64, RangeException >( "-9223372036854775809" ) ),
             "-9223372036854775809 is out of range for S64" );
  EXPECT_EQ( refusal< bool >( "true" ), "expected True or False at 'true'" );
  EXPECT_EQ( refusal< Fruit >( "1" ), "expected pear at '1'" );
  EXPECT_EQ( refusal< Fruit >( "plum" ), "expected Fruit at 'plum'" );
  EXPECT_EQ( genericIfFromStrRep< String8 >( "'\\x41\\xfF'" ), "A\xff" );
  for ( const char * text : { "'", "a", "'\\", "'\\x4'", "'\\q'", "'a\n'", "'\x80'", "'a''" } )
    EXPECT_NE( refusal< String8 >( text ), "" ) << text;
  EXPECT_EQ( refusal< String8 >( "a" ), "expected a text in single quotes at 'a'" );
  EXPECT_EQ( refusal< String8 >( "'\\q'" ), "expected an escape after \\ at 'q\\''" );
  EXPECT_EQ( refusal< String8 >( "'a\n" ), "expected the closing quote at '\\n'" );

  const std::string text = valueToStrep( Outer() ).charPtr();
  // Limits apply to defaulted values too.
  for ( const char * beyond : { "0", "-1", "101", "300", "99999999999999999999" } ) {
    std::string changed = text;
    changed.replace( changed.find( "'bounded': 0" ), 12, std::string( "'bounded': " ) + beyond );
    EXPECT_EQ( ( refusal< Outer, RangeException >( changed ) ), "Outer::bounded is not right" );
  }
}

TEST( ValueTypeTest, ComparesFieldsInDeclarationOrder ) {
  const Point points[] = { { {}, 1, -1, pear, "b" },
                           { {}, 1, 0, apple, "b" },
                           { {}, 1, 0, pear, "a" },
                           { {}, 1, 0, pear, "b" },
                           { {}, 2, -9, apple, "a" } };
  for ( const Point & a : points )
    for ( const Point & b : points ) {
      EXPECT_EQ( a < b, &a < &b );
      EXPECT_EQ( a == b, &a == &b );
      EXPECT_EQ( a <= b, &a <= &b );
    }
}

TEST( HashTest, EqualValuesHashEquallyAndSimilarOnesSpread ) {
  const Point point{ {}, 1, 2, apple, "a" };
  EXPECT_EQ( Kiv::hash( point ), Kiv::hash( Point{ {}, 1, 2, apple, String8( "" ) + "a" } ) );
  EXPECT_NE( Kiv::hash( point ), Kiv::hash( Point{ {}, 2, 1, apple, "a" } ) );
  EXPECT_NE( Kiv::hash( String8( "a" ) ), Kiv::hash( String8( "b" ) ) );
  // Ids that differ in their high bits only: the maps index by the low ones.
  std::set< U32 > buckets;
  for ( U32 id = 0; id < 256; ++id )
    buckets.insert( Kiv::hash( id << 24 ) & 255 );
  EXPECT_GT( buckets.size(), 128u );
}

}  // namespace
