// The library's values as text, and its entities as generic tools see them.

#include "kiv/GenericIf.h"
#include "kiv/StrepParse.h"
#include "tests/morvane/TestSwitch.h"

namespace Test::Reflection {

using Kiv::Any;
using Kiv::AttributeOp;
using Kiv::String8;

template < class T >
void expectText( const T & value, const char * text ) {
  EXPECT_EQ( Kiv::valueToStrep( value ), text );
  EXPECT_EQ( Kiv::genericIfFromStrRep< T >( text ), value );
}

TEST( ReflectionTest, ValuesReadBackFromTheirText ) {
  expectText( RangeCheckerDesc( 1024, 65535, 0xFFFFFFFF ),
              "Value('Morvane::RangeCheckerDesc', ** {'low': 1024, 'high': 65535, 'rangeFlags': "
              "4294967295})" );
  expectText( GroupQsetModKey( 7, 65535 ),
              "Value('Morvane::GroupQsetModKey', ** {'groupId': 7, 'chipType': 65535})" );
  expectText( MorvaneTcamGroupManager::UnitGroupId( 1, 1U << 26 ),
              "Value('Morvane::MorvaneTcamGroupManager::UnitGroupId', ** {'unit': 1, 'groupId': "
              "67108864})" );
  expectText( GroupUdfQualApplyStatus(),
              "Value('Morvane::GroupUdfQualApplyStatus', ** {'qualId': -1, 'udfCreateStatus': "
              "udfCreateFailure})" );
  UdfUnitSpec spec;
  spec.base = UdfBaseL3HeaderEnd;
  spec.offset = 127;
  spec.length = 16;
  expectText( spec,
              "Value('Morvane::UdfUnitSpec', ** {'unit': 0, 'qualId': -1, 'base': "
              "UdfBaseL3HeaderEnd, 'offset': 127, 'length': 16, 'ethType': 4294967295, "
              "'ipProtocol': 255, 'refCount': 0})" );
}

TEST( ReflectionTest, UserDefinedFieldOutsideItsLimitsIsRefused ) {
  const auto refusal = []( const char * offset, const char * length ) -> std::string {
    std::string text = Kiv::valueToStrep( UdfUnitSpec() ).charPtr();
    const std::string both = "'offset': 0, 'length': 0";
    text.replace( text.find( both ), both.size(),
                  fmt::format( "'offset': {}, 'length': {}", offset, length ) );
    try {
      Kiv::genericIfFromStrRep< UdfUnitSpec >( text );
    } catch ( const Kiv::RangeException & exception ) {
      return exception.what();
    }
    return "";
  };
  EXPECT_EQ( refusal( "0", "1" ) + refusal( "127", "16" ), "" );
  for ( const char * beyond : { "-1", "128", "256", "18446744073709551616" } )
    EXPECT_EQ( refusal( beyond, "1" ), "UdfUnitSpec::offset < 0 or > 127 not allowed" );
  for ( const char * beyond : { "-1", "0", "17", "257" } )
    EXPECT_EQ( refusal( "0", beyond ), "UdfUnitSpec::length < 1 or > 16 not allowed" );
}

// Reads every attribute of the entity and its members; returns the number of values.
U32 readEverything( const Kiv::Ptr< Kiv::Entity > & entity ) {
  EXPECT_STRNE( entity->fwkType(), "Kiv::Entity" ) << entity->name().value();
  const Kiv::GenericIf generic( entity );
  U32 values = 0;
  const auto see = [ & ]( const Kiv::AttributeBase & attribute, const Any & key ) {
    const Any value = attribute.read( key );
    ++values;
    EXPECT_TRUE( key.empty() ||
                 attribute.keyType()->fromStrRep( key.strep().view() ).strep() == key.strep() );
    if ( attribute.kind() == Kiv::AttributeKind::members )
      values += readEverything( value.as< Kiv::Ptr< Kiv::Entity > >() );
    else
      EXPECT_TRUE( value.type().kind() == Kiv::AnyKind::entity ||
                   value.type().fromStrRep( value.strep().view() ).strep() == value.strep() );
  };
  for ( auto i = generic.genericIfAttributeIterator(); i; i.iterInc() ) {
    if ( i.attribute().keyType() == nullptr )
      see( i.attribute(), {} );
    else
      for ( Kiv::GenericIfKeyIterator k( i.attribute() ); k; k.iterInc() )
        see( i.attribute(), k.key() );
  }
  return values;
}

class GenericSwitchTest : public testing::Test {
 protected:
  GenericSwitchTest() { sw_.platform.acl( 3, 10 ); }

  Kiv::GenericIf groups() { return Kiv::GenericIf( Kiv::Ptr< Kiv::Entity >( sw_.groups ) ); }
  Kiv::GenericIf manager() {
    return Kiv::GenericIf( Kiv::Ptr< Kiv::Entity >( &sw_.bounded( ipAclTcamGroup ) ) );
  }
  Any call( const char * operation, const std::vector< Any > & arguments ) {
    return manager().genericIfOperation( operation, arguments );
  }

  TestSwitch sw_{ { .pipes = 2, .secondCopy = true } };
};

TEST_F( GenericSwitchTest, WritesUseTheManagersSetters ) {
  sw_.construct();
  groups().genericIfAttributeOp( "initialized", AttributeOp::write, {}, Any( true ) );
  ASSERT_TRUE( sw_.groups->entryManager( ipAclTcamGroup ) ) << "start-up did not run";
  manager().genericIfAttributeOp( "exhausted", AttributeOp::write, Any( U32( 0 ) ), Any( true ) );
  EXPECT_EQ( sw_.groups->exhaustedMarks(), 1U );
  manager().genericIfAttributeOp( "exhausted", AttributeOp::del, Any( U32( 0 ) ) );
  EXPECT_EQ( sw_.groups->exhaustedMarks(), 0U );
  EXPECT_THROW(
      groups().genericIfAttributeOp( "entryManager", AttributeOp::insert, Any( qosTcamGroup ) ),
      Kiv::NoImplementationException );
  const U32 epoch = sw_.groups->shapeEpoch();
  groups().genericIfAttributeOp( "numPipe", AttributeOp::write, {}, Any( U32( 1 ) ) );
  EXPECT_NE( sw_.groups->shapeEpoch(), epoch );
}

TEST_F( GenericSwitchTest, FeaturesWorkThroughPublishedFunctions ) {
  sw_.start();
  const Any unit( U32( 0 ) );
  const RangeCheckerDesc desc( 1024, 65535, BCM_FIELD_RANGE_SRCPORT );
  EXPECT_NE( call( "getRangeChecker", { unit, Any( desc ) } ).as< U32 >(), 0U );
  EXPECT_FALSE( call( "rangeCheckersExhausted", { unit } ).as< bool >() );
  const U32 entry =
      call( "getEntry", { unit, Any( U32( 0x30002 ) ), Any( String8( "rule" ) ) } ).as< U32 >();
  EXPECT_EQ( entry, 0x30002U );
  EXPECT_EQ( call( "getEntryWithStats", { unit, Any( U32( 0x30003 ) ), Any( String8( "rule" ) ),
                                          Any( Kiv::Ptr< Kiv::Entity >( defaultStatTypes() ) ) } )
                 .as< U32 >(),
             0x30003U );
  EXPECT_THROW( call( "getEntry", { unit } ), Kiv::TypeException );
  EXPECT_GT( readEverything( sw_.groups ), 60U );
  EXPECT_EQ( sw_.audit(), "" );
  EXPECT_TRUE( call( "releaseRangeChecker", { unit, Any( desc ) } ).empty() );
  EXPECT_EQ( sw_.groups->rangeCheckerSize(), 0U );
}

}  // namespace Test::Reflection
