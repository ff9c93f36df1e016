// An entity of every kind of attribute, seen and changed by name alone.
#include "kiv/GenericIf.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <functional>
#include <string>
#include <vector>

#include "kiv/FamilyMap.h"
#include "kiv/HashMap.h"
#include "kiv/RbTreeMap.h"

#define TEST_MODES( X ) X( modeOff ) X( modeOn )

namespace {

using namespace Kiv::Integers;
using Kiv::Any;
using Kiv::AttributeOp;
using Kiv::Entity;
using Kiv::GenericIf;
using Kiv::Ptr;
using Kiv::String8;
using testing::ElementsAre;

KIV_ENUM( Mode, TEST_MODES );

// Has no hash.
struct Ports {
  U32 bits[ 2 ] = {};
  static constexpr const char * typeName = "Test::Ports";
  static constexpr auto fields() { return std::make_tuple( Kiv::field( "bits", &Ports::bits ) ); }
  friend bool operator==( const Ports &, const Ports & ) = default;
};

struct Port : Entity {
  using Entity::Entity;
};

class Card : public Entity {
 public:
  struct Notifiee : Kiv::NotifieeConst {
    virtual void onMode() {}
    virtual void onUplink() {}
    virtual void onPorts() {}
    virtual void onLabel( U32 ) {}
    virtual void onCopies( U32 ) {}
    virtual void onUsers( String8 ) {}
    virtual void onPort( U16 ) {}
  };

  explicit Card( const Kiv::Name & name ) : Entity( name ), slot_( this, "slot", 3 ) {}
  const char * fwkType() const override { return "Test::Card"; }
  const Kiv::OperationTable & operationTable() const override;

  KIV_CONST( U8, slot, Slot );
  KIV_SCALAR( Mode, mode, Mode, modeOff );
  KIV_SCALAR( Ptr< Port >, uplink, Uplink, nullptr );
  KIV_SCALAR( Ports, ports, Ports, {} );
  KIV_VALUES( Kiv::RbTreeMap, U32, String8, label, Label );
  KIV_VALUES( Kiv::FamilyMap, U32, U32, copies, Copies );
  KIV_COUNTS( Kiv::HashMap, String8, S32, users, Users );
  KIV_MEMBERS( Kiv::HashMap, U16, Port, port, Port );
  // Written by hand: its setter refuses odd numbers, and it tells nobody.
  void evenIs( U32 value ) { even_.set( value & ~1U ); }

  U32 weigh( U32 unit, const String8 & label ) { return unit * 100 + label.size(); }
  bool isUplink( const Ptr< Port > & port ) const { return port == uplink(); }
  void reset() { modeIs( modeOff ); }

 private:
  Kiv::Scalar< U32 > even_{ this, "even", 0, nullptr,
                            []( auto & self, U32 value ) { self.evenIs( value ); } };
  Kiv::Scalar< U32 > closed_{ this, "closed", 9 };
};

Ptr< Port > Card::newPort( U16 key ) {
  return key == 0 ? nullptr : Kiv::make< Port >( Kiv::valueToStrep( key ) );
}

const Kiv::OperationTable & Card::operationTable() const {
  static constexpr Kiv::Operation own[] = { Kiv::operation< &Card::weigh >( "weigh" ),
                                            Kiv::operation< &Card::isUplink >( "isUplink" ),
                                            Kiv::operation< &Card::reset >( "reset" ) };
  static constexpr Kiv::OperationTable table{ own };
  return table;
}

// Its setters and deleters say what runs.
struct LoudCard : Card, Card::Notifiee {
  explicit LoudCard( const Kiv::Name & name ) : Card( name ) {}
  void modeIs( Mode value ) override { told += "modeIs;", Card::modeIs( value ); }
  void labelIs( U32 key, String8 value ) override {
    told += "labelIs;", Card::labelIs( key, value );
  }
  bool labelDel( U32 key ) override { return key != 13 && Card::labelDel( key ); }
  Kiv::ValidPtr< Port > portIs( U16 key ) override {
    told += "portIs;";
    return Card::portIs( key );
  }
  void labelNotify( U32 key ) override {
    told += "label" + std::to_string( key ) + ";";
    Card::labelNotify( key );
  }
  std::string take() { return std::exchange( told, "" ); }
  std::string told;
};

class GenericIfTest : public testing::Test {
 protected:
  Any read( const char * attribute, const Any & key = {} ) {
    return generic.genericIfAttributeOp( attribute, AttributeOp::read, key );
  }
  void write( const char * attribute, const Any & key, const Any & value ) {
    generic.genericIfAttributeOp( attribute, AttributeOp::write, key, value );
  }
  bool del( const char * attribute, const Any & key ) {
    return generic.genericIfAttributeOp( attribute, AttributeOp::del, key ).as< bool >();
  }
  Any call( const char * operation, const std::vector< Any > & arguments ) {
    return generic.genericIfOperation( operation, arguments );
  }

  Ptr< LoudCard > card = Kiv::make< LoudCard >( "card" );
  GenericIf generic{ Ptr< Entity >( card ) };
};

template < class Exception >
std::string message( const std::function< void() > & act ) {
  try {
    act();
  } catch ( const Exception & exception ) {
    return exception.what();
  }
  return "(not thrown)";
}

TEST_F( GenericIfTest, AttributesAreWalkedInDeclarationOrderWithTheirTypes ) {
  std::vector< std::string > seen;
  for ( auto i = generic.genericIfAttributeIterator(); i; i.iterInc() ) {
    const Kiv::Type * key = i.attribute().keyType();
    seen.push_back( std::string( i.attribute().name() ) + ( key ? " " : "" ) +
                    ( key ? key->name() : "" ) + ": " + i.attribute().valueType().name() );
  }
  EXPECT_THAT( seen, ElementsAre( "slot: U8", "mode: Mode", "uplink: entity", "ports: Test::Ports",
                                  "label U32: String8", "copies U32: U32", "users String8: S32",
                                  "port U16: entity", "even: U32", "closed: U32" ) );
  EXPECT_EQ( generic.attribute( "mode" ).valueType().enumeration()->valueAt( 1 ), modeOn );
  EXPECT_EQ( read( "ports" ).parts()[ 0 ].elements.size(), 2u );
}

TEST_F( GenericIfTest, WritesRunTheEntitysOwnSettersAndTellOnceOfChanges ) {
  write( "mode", {}, Any( modeOn ) );
  EXPECT_EQ( card->mode(), modeOn );
  write( "label", Any( U32( 4 ) ), Any( String8( "x" ) ) );
  write( "label", Any( U32( 4 ) ), Any( String8( "x" ) ) );
  EXPECT_EQ( card->take(), "modeIs;labelIs;label4;labelIs;" );
  EXPECT_EQ( read( "label", Any( U32( 4 ) ) ).as< String8 >(), "x" );
  EXPECT_EQ( read( "label", Any( U32( 5 ) ) ).as< String8 >(), "" );
  EXPECT_TRUE( del( "label", Any( U32( 4 ) ) ) );
  EXPECT_FALSE( del( "label", Any( U32( 4 ) ) ) );
  EXPECT_EQ( card->take(), "label4;" );
  write( "users", Any( String8( "acl" ) ), Any( S32( -2 ) ) );
  EXPECT_EQ( card->users( "acl" ), -2 );
  write( "copies", Any( U32( 1U << 24 | 7 ) ), Any( U32( 8 ) ) );
  EXPECT_EQ( card->copies( 1U << 24 | 7 ), 8u );
  write( "ports", {}, Any( Ports{ { 1, 2 } } ) );
  EXPECT_EQ( read( "ports" ).strep(), "Value('Test::Ports', ** {'bits': [1, 2]})" );
  write( "even", {}, Any( U32( 7 ) ) );
  EXPECT_EQ( read( "even" ).as< U32 >(), 6u );
}

TEST_F( GenericIfTest, EntitiesAreInsertedReferredToAndDeleted ) {
  const Any made = generic.genericIfAttributeOp( "port", AttributeOp::insert, Any( U16( 7 ) ) );
  const Any found = generic.genericIfAttributeOp( "port", AttributeOp::insert, Any( U16( 7 ) ) );
  EXPECT_EQ( made.as< Ptr< Entity > >(), card->port( 7 ) );
  EXPECT_EQ( found.as< Ptr< Entity > >(), card->port( 7 ) );
  EXPECT_EQ( card->take(), "portIs;portIs;" );
  write( "uplink", {}, made );
  EXPECT_EQ( card->uplink(), card->port( 7 ) );
  EXPECT_EQ( read( "uplink" ).strep(), "'7'" );
  EXPECT_TRUE( del( "port", Any( U16( 7 ) ) ) );
  EXPECT_EQ( read( "port", Any( U16( 7 ) ) ).strep(), "None" );
  write( "uplink", {}, Any( Ptr< Entity >() ) );
  EXPECT_EQ( card->uplink(), nullptr );
  EXPECT_EQ( message< Kiv::RangeException >( [ & ] {
               generic.genericIfAttributeOp( "port", AttributeOp::insert, Any( U16( 0 ) ) );
             } ),
             "null ValidPtr" );
}

TEST_F( GenericIfTest, KeysAreWalkedWhileTheirMembersAreDeleted ) {
  for ( const U32 key : { 12U, 13U, 14U } )
    card->labelIs( key, "x" );
  std::vector< std::string > seen;
  for ( auto i = generic.genericIfAttributeIteratorKey( "label" ); i; i.iterInc() ) {
    EXPECT_EQ( i.value().as< String8 >(), "x" );
    seen.emplace_back( i.key().strep().charPtr() );
    seen.emplace_back( i.iterDel() ? "deleted" : "kept" );
    EXPECT_EQ( i.key().strep(), seen[ seen.size() - 2 ].c_str() );
  }
  EXPECT_THAT( seen, ElementsAre( "12", "deleted", "13", "kept", "14", "deleted" ) );
  // The walk outlives whoever started it.
  auto last = generic.genericIfAttributeIteratorKey( "label" );
  generic = GenericIf( Kiv::make< Entity >( "other" ) );
  card = nullptr;
  EXPECT_EQ( last.key().as< U32 >(), 13u );
}

TEST_F( GenericIfTest, WhatDoesNotFitIsRefusedAndChangesNothing ) {
  using Kiv::NoImplementationException;
  using Kiv::TypeException;
  const struct {
    const char * attribute;
    AttributeOp op;
    Any key, value;
    std::string refusal;
  } cases[] = {
      { "mode",
        AttributeOp::write,
        {},
        Any( U32( 1 ) ),
        "type: attribute mode takes Mode, not U32" },
      { "mode", AttributeOp::write, {}, {}, "type: attribute mode takes Mode, not nothing" },
      { "mode", AttributeOp::read, Any( U32( 1 ) ), {}, "type: attribute mode has no keys" },
      { "mode",
        AttributeOp::read,
        {},
        Any( modeOn ),
        "type: only a write of attribute mode takes a value" },
      { "uplink",
        AttributeOp::write,
        {},
        Any( Ptr< Entity >( card ) ),
        "type: attribute uplink takes entities of another class" },
      { "label",
        AttributeOp::read,
        {},
        {},
        "type: the key of attribute label takes U32, not nothing" },
      { "label", AttributeOp::write, Any( U16( 1 ) ), Any( String8() ),
        "type: the key of attribute label takes U32, not U16" },
      { "users",
        AttributeOp::del,
        Any( Ports() ),
        {},
        "unhashable: a value of type Test::Ports has no hash" },
      { "port",
        AttributeOp::insert,
        Any( Ptr< Entity >() ),
        {},
        "unhashable: a value of type entity has no hash" },
      { "slot",
        AttributeOp::write,
        {},
        Any( U8( 1 ) ),
        "not supported: attribute slot of Test::Card does not support write" },
      { "closed",
        AttributeOp::write,
        {},
        Any( U32( 1 ) ),
        "not supported: attribute closed of Test::Card does not support write" },
      { "label",
        AttributeOp::insert,
        Any( U32( 1 ) ),
        {},
        "not supported: attribute label of Test::Card does not support insert" },
      { "port", AttributeOp::write, Any( U16( 1 ) ), Any( Ptr< Entity >() ),
        "not supported: attribute port of Test::Card does not support write" },
      { "mode",
        AttributeOp::del,
        {},
        {},
        "not supported: attribute mode of Test::Card does not support delete" },
      { "moda", AttributeOp::read, {}, {}, "not supported: Test::Card has no attribute moda" },
  };
  for ( const auto & c : cases ) {
    std::string refusal;
    try {
      generic.genericIfAttributeOp( c.attribute, c.op, c.key, c.value );
    } catch ( const TypeException & exception ) {
      refusal = std::string( "type: " ) + exception.what();
    } catch ( const NoImplementationException & exception ) {
      refusal = std::string( "not supported: " ) + exception.what();
    } catch ( const Kiv::UnhashableException & exception ) {
      refusal = std::string( "unhashable: " ) + exception.what();
    }
    EXPECT_EQ( refusal, c.refusal );
  }
  EXPECT_EQ( card->take(), "" );
  EXPECT_EQ( message< NoImplementationException >(
                 [ & ] { generic.genericIfAttributeIteratorKey( "slot" ); } ),
             "attribute slot has no keys to walk" );
  EXPECT_EQ( message< TypeException >( [ & ] { read( "mode" ).as< U32 >(); } ),
             "the reader takes U32, not Mode" );
}

TEST_F( GenericIfTest, PublishedFunctionsAreCalledByName ) {
  EXPECT_EQ( call( "weigh", { Any( U32( 2 ) ), Any( String8( "abc" ) ) } ).as< U32 >(), 203u );
  EXPECT_TRUE( call( "isUplink", { Any( Ptr< Entity >() ) } ).as< bool >() );
  card->modeIs( modeOn );
  EXPECT_TRUE( call( "reset", {} ).empty() );
  EXPECT_EQ( card->mode(), modeOff );
  EXPECT_EQ( message< Kiv::TypeException >( [ & ] { call( "weigh", { Any( U32( 2 ) ) } ); } ),
             "weigh takes 2 arguments, not 1" );
  EXPECT_EQ( message< Kiv::TypeException >( [ & ] {
               call( "weigh", { Any( U32( 2 ) ), Any( U32( 3 ) ) } );
             } ),
             "parameter 2 of weigh takes String8, not U32" );
  EXPECT_EQ( message< Kiv::NoImplementationException >( [ & ] { call( "weight", {} ); } ),
             "Test::Card has no published function weight" );
}

TEST( AnyTest, ValuesAreSharedComparedAndHashedByTheirType ) {
  const Any five( U32( 5 ) );
  EXPECT_EQ( five.hash(), Kiv::hash( U32( 5 ) ) );
  EXPECT_TRUE( five < Any( U32( 6 ) ) );
  EXPECT_FALSE( five < Any( U16( 6 ) ) || Any() < five || five < five );
  EXPECT_FALSE( five.is< S32 >() );
  EXPECT_THROW( Any( Ports() ).hash(), Kiv::UnhashableException );
  EXPECT_THROW( Any().type(), Kiv::TypeException );
  EXPECT_TRUE( Kiv::typeOf< Mode >().fromStrRep( "modeOn" ).is< Mode >() );
  EXPECT_THROW( Kiv::typeOf< Mode >().fromStrRep( "modeOn " ), Kiv::TypeException );
  EXPECT_THROW( Kiv::typeOf< Ptr< Entity > >().fromStrRep( "'card'" ),
                Kiv::NoImplementationException );
}

// What generic tools need must cost an attribute nothing: the map or value, the list's links, and
// one pointer to the owner's calls.
TEST( GenericIfSizeTest, AttributesHoldOnePointerForTheirCalls ) {
  constexpr std::size_t base = sizeof( Kiv::AttributeBase );
  EXPECT_EQ( base, 4 * sizeof( void * ) );
  EXPECT_EQ( sizeof( Kiv::Scalar< U64 > ), base + sizeof( U64 ) + sizeof( void * ) );
  EXPECT_EQ( sizeof( Kiv::Values< Kiv::HashMap, U32, U32 > ),
             base + sizeof( Kiv::HashMap< U32, U32 > ) + sizeof( void * ) );
}

}  // namespace
