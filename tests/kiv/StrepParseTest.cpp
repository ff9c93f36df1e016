// Text forms back to values: the exact inverse of printing, and what is refused.
#include "kiv/StrepParse.h"

#include <gtest/gtest.h>

#include <random>
#include <sstream>

#define TEST_FRUITS( X ) X( apple ) X( pear )

namespace {

using namespace Kiv::Integers;
using Kiv::genericIfFromStrRep;
using Kiv::String8;
using Kiv::valueToStrep;

KIV_ENUM( Fruit, TEST_FRUITS );
enum class Plain : S8 { low = -128 };

// A record that is no value type, as those of the SDK.
struct Inner {
  Fruit fruit = pear;
  U16 words[ 3 ] = {};
  static constexpr const char * typeName = "Test::Inner";
  static constexpr auto fields() {
    return std::make_tuple( Kiv::field( "fruit", &Inner::fruit ),
                            Kiv::field( "words", &Inner::words ) );
  }
  friend bool operator==( const Inner &, const Inner & ) = default;
};

struct Outer : Kiv::Value {
  Inner inner;
  String8 label;
  S8 bounded = 0;
  bool flag = false;
  static constexpr Kiv::Limits limits{ 1, 100, "Outer::bounded is not right" };
  static constexpr const char * typeName = "Test::Outer";
  static constexpr auto fields() {
    return std::make_tuple(
        Kiv::field( "inner", &Outer::inner ), Kiv::field( "label", &Outer::label ),
        Kiv::field( "bounded", &Outer::bounded, limits ), Kiv::field( "flag", &Outer::flag ) );
  }
};

template < class T >
void expectInverse( const T & value ) {
  const String8 text = valueToStrep( value );
  EXPECT_EQ( genericIfFromStrRep< T >( text.view() ), value ) << text;
}

template < class T >
void expectInverseOfIntegers( std::mt19937_64 & random ) {
  expectInverse( std::numeric_limits< T >::min() );
  expectInverse( std::numeric_limits< T >::max() );
  for ( int i = 0; i < 200; ++i )
    expectInverse( static_cast< T >( random() >> random() % 64 ) );
}

// The exception's own words; empty when the text was read.
template < class T, class Exception = Kiv::TypeException >
std::string refusal( std::string_view text ) {
  try {
    genericIfFromStrRep< T >( text );
  } catch ( const Exception & exception ) {
    return exception.what();
  }
  return "";
}

TEST( StrepParseTest, RandomValuesReadBack ) {
  std::mt19937_64 random( 11 );
  expectInverseOfIntegers< U8 >( random );
  expectInverseOfIntegers< S8 >( random );
  expectInverseOfIntegers< S32 >( random );
  expectInverseOfIntegers< S64 >( random );
  expectInverseOfIntegers< U64 >( random );
  for ( int round = 0; round < 200; ++round ) {
    Outer outer;
    std::string label;
    for ( U64 length = random() % 20; label.size() < length; )
      label += static_cast< char >( random() );
    outer.label = std::string_view( label );
    outer.bounded = static_cast< S8 >( 1 + random() % 100 );
    outer.flag = random() % 2 != 0;
    outer.inner.fruit = static_cast< Fruit >( random() % 4 );  // two of them without a name
    for ( U16 & word : outer.inner.words )
      word = static_cast< U16 >( random() );
    expectInverse( outer );
    expectInverse( Kiv::Name( outer.label ) );
  }
  expectInverse( Plain::low );
}

TEST( StrepParseTest, OneFormOnlyAndLimitsSpeakForThemselves ) {
  for ( const char * text : { "", "+1", "01", "-0", "0x1", " 1", "1 ", "1.0", "one", "-" } )
    EXPECT_NE( refusal< S32 >( text ), "" ) << text;
  EXPECT_EQ( refusal< U32 >( "7up" ), "expected the end at 'up'" );
  EXPECT_EQ( refusal< U32 >( "" ), "expected U32 where the text ends" );
  EXPECT_EQ( ( refusal< U8, Kiv::RangeException >( "256" ) ), "256 is out of range for U8" );
  EXPECT_EQ( ( refusal< U8, Kiv::RangeException >( "-1" ) ), "-1 is out of range for U8" );
  EXPECT_EQ( ( refusal< S64, Kiv::RangeException >( "-9223372036854775809" ) ),
             "-9223372036854775809 is out of range for S64" );
  EXPECT_EQ( refusal< bool >( "true" ), "expected True or False at 'true'" );
  EXPECT_EQ( refusal< Fruit >( "1" ), "expected pear at '1'" );
  EXPECT_EQ( refusal< Fruit >( "plum" ), "expected Fruit at 'plum'" );
  EXPECT_EQ( genericIfFromStrRep< String8 >( "'\\x41\\xfF'" ), "A\xff" );
  for ( const char * text : { "'", "a", "'\\", "'\\x4'", "'\\q'", "'a\n'", "'\x80'", "'a''" } )
    EXPECT_NE( refusal< String8 >( text ), "" ) << text;

  const std::string text = valueToStrep( Outer() ).charPtr();
  EXPECT_EQ( ( refusal< Outer, Kiv::RangeException >( text ) ), "Outer::bounded is not right" )
      << "the limits hold for default values too";
  for ( const char * beyond : { "-1", "101", "300", "99999999999999999999" } ) {
    std::string changed = text;
    changed.replace( changed.find( "'bounded': 0" ), 12, std::string( "'bounded': " ) + beyond );
    EXPECT_EQ( ( refusal< Outer, Kiv::RangeException >( changed ) ),
               "Outer::bounded is not right" );
  }
}

TEST( EnumTest, ByNameValueAndSequence ) {
  const Kiv::EnumType type = enumType( Fruit() );
  EXPECT_STREQ( type.name(), "Fruit" );
  EXPECT_EQ( type.size(), 2u );
  EXPECT_STREQ( type.valueName( pear ), "pear" );
  EXPECT_EQ( type.valueName( 2 ), nullptr );
  EXPECT_EQ( type.value( "pear" ), pear );
  EXPECT_EQ( type.value( "" ), std::nullopt );
  EXPECT_EQ( type.valueAt( 1 ), pear );
  EXPECT_EQ( type.valueAt( 2 ), std::nullopt );
  std::ostringstream out;
  out << pear << ' ' << Fruit( 2 );
  EXPECT_EQ( out.str(), "pear 2" );
}

}  // namespace
