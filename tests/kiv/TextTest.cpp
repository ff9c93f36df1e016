// Strings, formatting, value types, enumerations, hashes and text forms.
#include <gtest/gtest.h>

#include <set>
#include <sstream>
#include <string>

#include "kiv/Entity.h"
#include "kiv/Enum.h"
#include "kiv/Format.h"
#include "kiv/ValueType.h"

#define TEST_COLOURS( X ) X( red ) X( green ) X( blue )

namespace {

using Kiv::String8;
using Kiv::U32;
using Kiv::valueToStrep;

KIV_ENUM( Colour, TEST_COLOURS );

enum class Plain : Kiv::U8 { five = 5 };

class Point : public Kiv::Value {
 public:
  Point( U32 x, Kiv::S8 y, Colour colour ) : x_( x ), y_( y ), colour_( colour ) {}
  static constexpr const char * typeName = "Test::Point";
  static constexpr auto fields() {
    return std::tuple( Kiv::field( "x", &Point::x_ ), Kiv::field( "y", &Point::y_ ),
                       Kiv::field( "colour", &Point::colour_ ) );
  }

 private:
  U32 x_;
  Kiv::S8 y_;
  Colour colour_;
};

class Line : public Kiv::Value {
 public:
  Line( Point from, String8 label ) : from_( from ), label_( label ) {}
  static constexpr const char * typeName = "Test::Line";
  static constexpr auto fields() {
    return std::tuple( Kiv::field( "from", &Line::from_ ), Kiv::field( "label", &Line::label_ ) );
  }

 private:
  Point from_;
  String8 label_;
};

TEST( String8Test, AppendingNeverChangesOtherHolders ) {
  String8 text( "fp entry" );
  text += " create";  // the payload grows beyond what it needs: the next append would fit
  String8 holder = text;
  text += "7";
  EXPECT_EQ( holder, "fp entry create" );
  EXPECT_EQ( text, "fp entry create7" );
  holder += "8";
  EXPECT_EQ( text, "fp entry create7" );
  EXPECT_EQ( holder.charPtr()[ holder.size() ], '\0' );
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

TEST( String8Test, EmptyAndBinaryText ) {
  EXPECT_EQ( sizeof( String8 ), sizeof( void * ) );
  String8 empty( static_cast< const char * >( nullptr ) );
  EXPECT_TRUE( empty.empty() );
  EXPECT_STREQ( empty.charPtr(), "" );
  String8 binary( std::string_view( "a\0b", 3 ) );
  EXPECT_EQ( binary.size(), 3u );
  EXPECT_NE( binary, "a" );
  EXPECT_GT( binary, "a" );
  EXPECT_LT( String8( "a\x7f" ), String8( "a\x80" ) );  // bytes compare unsigned
}

TEST( FormatTest, LengthsAroundTheStackBuffer ) {
  for ( int length : { 0, 1, 254, 255, 256, 257, 5000 } ) {
    String8 text = Kiv::format( "%*s|", length, "x" );
    EXPECT_EQ( text.size(), static_cast< U32 >( std::max( length, 1 ) + 1 ) );
    EXPECT_EQ( text.view().substr( text.size() - 2 ), "x|" );
  }
}

TEST( StrepTest, TextForms ) {
  EXPECT_EQ( valueToStrep( Kiv::U8( 65 ) ), "65" );
  EXPECT_EQ( valueToStrep( Kiv::S64( INT64_MIN ) ), "-9223372036854775808" );
  EXPECT_EQ( valueToStrep( Kiv::U64( UINT64_MAX ) ), "18446744073709551615" );
  EXPECT_EQ( valueToStrep( true ), "True" );
  EXPECT_EQ( valueToStrep( String8( std::string_view( "it's\\\n\0\xff", 8 ) ) ),
             "'it\\'s\\\\\\n\\x00\\xff'" );
  EXPECT_EQ( valueToStrep( Kiv::Name( "Linecard" ) ), "'Linecard'" );
  EXPECT_EQ( valueToStrep( blue ), "blue" );
  EXPECT_EQ( valueToStrep( Colour( 3 ) ), "3" );
  EXPECT_EQ( Kiv::enumValue< Colour >( "green" ), green );
  EXPECT_EQ( Kiv::enumValue< Colour >( "gree" ), std::nullopt );
  EXPECT_EQ( valueToStrep( Plain::five ), "5" );
  EXPECT_EQ( valueToStrep( Kiv::make< Kiv::Entity >( "owner" ) ), "'owner'" );
  EXPECT_EQ( valueToStrep( Kiv::Ptr< Kiv::Entity >() ), "None" );
  std::ostringstream out;
  out << Line( Point( 1, -2, green ), "a" );
  EXPECT_EQ( out.str(),
             "Value('Test::Line', ** {'from': Value('Test::Point', ** {'x': 1, 'y': -2, "
             "'colour': green}), 'label': 'a'})" );
}

TEST( ValueTypeTest, OrdersByFieldsInTheirOrder ) {
  const Point points[] = { { 1, -1, blue }, { 1, 0, red }, { 1, 0, green }, { 2, -9, red } };
  for ( const Point & a : points ) {
    for ( const Point & b : points ) {
      EXPECT_EQ( a < b, &a < &b );
      EXPECT_EQ( a == b, &a == &b );
      EXPECT_EQ( a <= b, &a <= &b );
    }
  }
  EXPECT_TRUE( Line( points[ 0 ], "b" ) < Line( points[ 1 ], "a" ) );
}

TEST( HashTest, EqualValuesHashEquallyAndNearOnesSpread ) {
  EXPECT_EQ( Kiv::hash( Line( Point( 1, 2, red ), "a" ) ),
             Kiv::hash( Line( Point( 1, 2, red ), String8( "" ) + "a" ) ) );
  EXPECT_NE( Kiv::hash( Point( 1, 2, red ) ), Kiv::hash( Point( 2, 1, red ) ) );
  // Ids that differ in their high bits only: the maps look at the low ones.
  std::set< U32 > buckets;
  for ( U32 id = 0; id < 256; ++id ) {
    buckets.insert( Kiv::hash( id << 24 ) & 255 );
  }
  EXPECT_GT( buckets.size(), 128u );
}

}  // namespace
