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

  U32 weigh( U32 unit, const String8 & label ) { return unit * 100 + label.size(); }
  bool isUplink( const Ptr< Port > & port ) const { return port == uplink(); }
  void reset() { modeIs( modeOff ); }

 private:
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

// Which of the object model's refusals something met, and its words.
std::string refusal( const std::function< void() > & act ) {
  try {
    act();
  } catch ( const Kiv::TypeException & exception ) {
    return std::string( "type: " ) + exception.what();
  } catch ( const Kiv::NoImplementationException & exception ) {
    return std::string( "not supported: " ) + exception.what();
  } catch ( const Kiv::UnhashableException & exception ) {
    return std::string( "unhashable: " ) + exception.what();
  }
  return "";
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
                                  "port U16: entity", "closed: U32" ) );
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
}

TEST_F( GenericIfTest, EntitiesAreInsertedReferredToAndDeleted ) {
  const Any made = generic.genericIfAttributeOp( "port", AttributeOp::insert, Any( U16( 7 ) ) );
  EXPECT_EQ( made.as< Ptr< Entity > >(), card->port( 7 ) );
  write( "uplink", {}, made );
  EXPECT_EQ( card->uplink(), card->port( 7 ) );
  EXPECT_EQ( read( "uplink" ).strep(), "'7'" );
  EXPECT_TRUE( del( "port", Any( U16( 7 ) ) ) );
  EXPECT_EQ( read( "port", Any( U16( 7 ) ) ).strep(), "None" );
  write( "uplink", {}, Any( Ptr< Entity >() ) );
  EXPECT_EQ( card->uplink(), nullptr );
  EXPECT_THROW( generic.genericIfAttributeOp( "port", AttributeOp::insert, Any( U16( 0 ) ) ),
                Kiv::RangeException );
}

TEST_F( GenericIfTest, KeysAreWalkedWhileTheirMembersAreDeleted ) {
  for ( const U32 key : { 12U, 13U, 14U } )
    card->labelIs( key, "x" );
  std::vector< std::string > seen;
  for ( auto i = generic.genericIfAttributeIteratorKey( "label" ); i; i.iterInc() ) {
    EXPECT_EQ( i.value().as< String8 >(), "x" );
    seen.emplace_back( i.key().strep().charPtr() );
    seen.emplace_back( i.iterDel() ? "deleted" : "kept" );
  }
  EXPECT_THAT( seen, ElementsAre( "12", "deleted", "13", "kept", "14", "deleted" ) );
}

TEST_F( GenericIfTest, WhatDoesNotFitIsRefusedAndChangesNothing ) {
  const auto refused = [ this ]( AttributeOp op, const char * attribute, const Any & key,
                                 const Any & value ) {
    return refusal( [ & ] { generic.genericIfAttributeOp( attribute, op, key, value ); } );
  };
  using enum AttributeOp;
  const Any none, one( U32( 1 ) ), nobody{ Ptr< Entity >() }, me{ Ptr< Entity >( card ) };
  const std::string key = "type: the key of attribute label takes U32, not ";
  const std::string of = " of Test::Card does not support ";
  EXPECT_EQ( refused( write, "mode", none, one ), "type: attribute mode takes Mode, not U32" );
  EXPECT_EQ( refused( write, "mode", none, none ), "type: attribute mode takes Mode, not nothing" );
  EXPECT_EQ( refused( read, "mode", one, none ), "type: attribute mode has no keys" );
  EXPECT_EQ( refused( read, "mode", none, one ),
             "type: only a write of attribute mode takes a value" );
  EXPECT_EQ( refused( write, "uplink", none, me ),
             "type: attribute uplink takes entities of another class" );
  EXPECT_EQ( refused( read, "label", none, none ), key + "nothing" );
  EXPECT_EQ( refused( write, "label", Any( U16( 1 ) ), Any( String8() ) ), key + "U16" );
  EXPECT_EQ( refused( del, "users", Any( Ports() ), none ),
             "unhashable: a value of type Test::Ports has no hash" );
  EXPECT_EQ( refused( insert, "port", nobody, none ),
             "unhashable: a value of type entity has no hash" );
  EXPECT_EQ( refused( write, "slot", none, one ), "not supported: attribute slot" + of + "write" );
  EXPECT_EQ( refused( write, "closed", none, one ),
             "not supported: attribute closed" + of + "write" );
  EXPECT_EQ( refused( insert, "label", one, none ),
             "not supported: attribute label" + of + "insert" );
  EXPECT_EQ( refused( write, "port", one, nobody ),
             "not supported: attribute port" + of + "write" );
  EXPECT_EQ( refused( del, "mode", none, none ), "not supported: attribute mode" + of + "delete" );
  EXPECT_EQ( refused( read, "moda", none, none ),
             "not supported: Test::Card has no attribute moda" );
  EXPECT_EQ( refusal( [ & ] { generic.genericIfAttributeIteratorKey( "slot" ); } ),
             "not supported: attribute slot has no keys to walk" );
  EXPECT_EQ( card->take(), "" );
}

TEST_F( GenericIfTest, PublishedFunctionsAreCalledByName ) {
  const Any two( U32( 2 ) );
  EXPECT_EQ( call( "weigh", { two, Any( String8( "abc" ) ) } ).as< U32 >(), 203u );
  EXPECT_TRUE( call( "isUplink", { Any( Ptr< Entity >() ) } ).as< bool >() );
  card->modeIs( modeOn );
  EXPECT_TRUE( call( "reset", {} ).empty() );
  EXPECT_EQ( card->mode(), modeOff );
  EXPECT_EQ( refusal( [ & ] { call( "weigh", { two } ); } ),
             "type: weigh takes 2 arguments, not 1" );
  EXPECT_EQ( refusal( [ & ] {
               call( "weigh", { two, two } );
             } ),
             "type: parameter 2 of weigh takes String8, not U32" );
  EXPECT_EQ( refusal( [ & ] { call( "weight", {} ); } ),
             "not supported: Test::Card has no published function weight" );
}

TEST( AnyTest, ValuesAreComparedAndHashedByTheirType ) {
  const Any five( U32( 5 ) );
  EXPECT_EQ( five.hash(), Kiv::hash( U32( 5 ) ) );
  EXPECT_TRUE( five < Any( U32( 6 ) ) );
  EXPECT_FALSE( five < Any( U16( 6 ) ) || Any() < five || five < five || five.is< S32 >() );
  EXPECT_EQ( refusal( [ & ] { five.as< S32 >(); } ), "type: the reader takes S32, not U32" );
  EXPECT_EQ( refusal( [] { Kiv::typeOf< Ptr< Entity > >().fromStrRep( "'card'" ); } ),
             "not supported: an entity cannot be made from text" );
}

// What generic tools need costs an attribute no memory: one pointer leads to the owner's calls.
static_assert( sizeof( Kiv::AttributeBase ) == 4 * sizeof( void * ) );
static_assert( sizeof( Kiv::Scalar< void * > ) == 6 * sizeof( void * ) );

}  // namespace
