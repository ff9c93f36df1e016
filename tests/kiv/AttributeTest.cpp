// An entity with every kind of attribute: the generated operations, and generic access by name.
#include "kiv/Attribute.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <functional>
#include <limits>
#include <string>
#include <vector>

#include "kiv/FamilyMap.h"
#include "kiv/GenericIf.h"
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
using Kiv::ValidPtr;
using testing::ElementsAre;

KIV_ENUM( Mode, TEST_MODES );

template < class K, class V >
using CopyMap = Kiv::FamilyMap< K, V, 24, 3 >;

// Has no hash.
struct Ports {
  U32 bits[ 2 ] = {};
  static constexpr const char * typeName = "Test::Ports";
  static constexpr auto fields() { return std::make_tuple( Kiv::field( "bits", &Ports::bits ) ); }
  friend bool operator==( const Ports &, const Ports & ) = default;
};

struct Port : Entity {
  Port( const Kiv::Name & name, U32 strategy )
      : Entity( name ), strategy_( this, "strategy", strategy ) {}
  ~Port() override { ++deaths; }
  KIV_CONST( U32, strategy, Strategy );
  Ptr< Entity > home;
  static inline int deaths = 0;
};

class Card : public Entity {
 public:
  struct Notifiee : Kiv::NotifieeConst {
    virtual void onMode() {}
    virtual void onUplink() {}
    virtual void onPorts() {}
    virtual void onLabel( U32 ) {}
    virtual void onCopies( U32 ) {}
    virtual void onPeer( U32 ) {}
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
  KIV_VALUES( CopyMap, U32, U32, copies, Copies );
  KIV_VALUES( Kiv::HashMap, U32, Ptr< Port >, peer, Peer );
  KIV_COUNTS( Kiv::HashMap, String8, S32, users, Users );
  KIV_MEMBERS( Kiv::HashMap, U16, Port, port, Port );

  // Get-or-create with constructor parameters, as in the managers.
  ValidPtr< Port > portIs( U16 key, U32 strategy ) {
    ValidPtr< Port > port =
        port_.instantiate( key, [ & ] { return Kiv::make< Port >( "m", strategy ); } );
    port->strategyParam().requireSame( strategy );
    return port;
  }

  U32 weigh( U32 unit, const String8 & label ) { return unit * 100 + label.size(); }
  bool isUplink( const Ptr< Port > & port ) const { return port == uplink(); }
  void reset() { modeIs( modeOff ); }

 private:
  Kiv::Scalar< U32 > closed_{ this, "closed", 9 };
};

Ptr< Port > Card::newPort( U16 key ) {
  return key == 0 ? nullptr : port_.make( Kiv::valueToStrep( key ), key );
}

const Kiv::OperationTable & Card::operationTable() const {
  static constexpr Kiv::Operation own[] = { Kiv::operation< &Card::weigh >( "weigh" ),
                                            Kiv::operation< &Card::isUplink >( "isUplink" ),
                                            Kiv::operation< &Card::reset >( "reset" ) };
  static constexpr Kiv::OperationTable table{ own };
  return table;
}

struct Log : Card::Notifiee {
  explicit Log( const Ptr< Card > & subject ) : owner( *subject ) { notifierIs( subject ); }
  void onMode() override { text += owner.mode() == modeOn ? "on;" : "off;"; }
  void onLabel( U32 key ) override {
    text += "label" + std::to_string( key ) + "=" + owner.label( key ).charPtr() + ";";
  }
  void onUsers( String8 key ) override {
    text += key.charPtr() + std::to_string( owner.users( key ) ) + ";";
  }
  void onPort( U16 key ) override {
    text += ( owner.port( key ) ? "port+" : "port-" ) + std::to_string( key ) + ";";
  }
  // The notifications since the last call.
  std::string take() { return std::exchange( text, "" ); }
  Card & owner;
  std::string text;
};

class AttributeTest : public testing::Test {
 protected:
  Ptr< Card > owner = Kiv::make< Card >( "owner" );
  Log log{ owner };
};

TEST_F( AttributeTest, AttributesNotifyOnlyOnChange ) {
  owner->modeIs( modeOff );
  EXPECT_EQ( log.take(), "" );
  owner->modeIs( modeOn );
  owner->labelIs( 3, "" );  // an empty value is not an absent one
  owner->labelIs( 3, "" );
  owner->labelIs( 3, "c" );
  EXPECT_EQ( log.take(), "on;label3=;label3=c;" );
  EXPECT_FALSE( owner->labelDel( 4 ) );
  EXPECT_EQ( owner->label( 4 ), "" );
  EXPECT_FALSE( owner->labelHas( 4 ) );
  EXPECT_TRUE( owner->labelDel( 3 ) );
  EXPECT_EQ( log.take(), "label3=;" );
  EXPECT_EQ( owner->usersInc( "a", 0 ), 0 );
  EXPECT_TRUE( owner->usersHas( "a" ) );
  EXPECT_EQ( log.take(), "" );
  EXPECT_EQ( owner->usersInc( "a", 2 ), 2 );
  EXPECT_EQ( owner->usersInc( "b", -1 ), -1 );
  EXPECT_EQ( owner->usersInc( "a", -2 ), 0 );
  EXPECT_EQ( log.take(), "a2;b-1;a0;" );
}

TEST_F( AttributeTest, IteratorsDeleteDuringAWalk ) {
  for ( U32 key = 1; key <= 5; ++key )
    owner->labelIs( key, "x" );
  log.take();
  auto i = owner->labelIter();
  for ( ; i; ++i )
    if ( i.key() % 2 )
      owner->labelDel( i );
  EXPECT_EQ( log.take(), "label1=;label3=;label5=;" );
  owner->labelIs( 5, "" );
  EXPECT_FALSE( owner->labelDel( i ) ) << "the walk is over, whatever it visited last";
  EXPECT_TRUE( owner->labelIteratorConst().isMemberOf( 2 ) );
  owner->labelDelAll();
  EXPECT_EQ( log.take(), "label5=;label2=;label4=;label5=;" );
  i = owner->labelIter();
  auto ports = owner->portIter();
  EXPECT_FALSE( owner->labelDel( i ) );
  EXPECT_EQ( owner->portDel( ports ), nullptr );
  EXPECT_EQ( log.take(), "" );
}

TEST_F( AttributeTest, MembersAreCreatedAndReportedOnce ) {
  ValidPtr< Port > made = owner->portIs( 7 );
  EXPECT_EQ( owner->portIs( 7 ), made );
  EXPECT_EQ( made->parent(), owner.get() );
  EXPECT_EQ( made->references(), 2u );
  EXPECT_EQ( owner->portDel( 8 ), nullptr );
  EXPECT_EQ( log.take(), "port+7;" );
  EXPECT_EQ( owner->portDel( 7 ), made.ptr() );
  EXPECT_EQ( made->parent(), nullptr );
  EXPECT_THROW( owner->portIs( 0 ), Kiv::RangeException );
  EXPECT_FALSE( owner->portHas( 0 ) );
  EXPECT_EQ( log.take(), "port-7;" );
}

TEST_F( AttributeTest, NewMemberHasItsParentBeforeInsertion ) {
  std::vector< Ptr< Port > > made;
  for ( const U16 key : { 1, 2, 3 } )
    made.push_back( owner->newPort( key ) );
  EXPECT_EQ( made[ 0 ]->parent(), owner.get() );
  EXPECT_EQ( owner->portSize(), 0u );
  made.erase( made.begin() + 1 );
  made[ 0 ]->parentIs( nullptr );
  owner = nullptr;
  EXPECT_EQ( made[ 1 ]->parent(), nullptr ) << "dropped ones and those that left are skipped";
}

TEST_F( AttributeTest, MemberInsertedDuringAConstructionIsKept ) {
  struct Racer : Card {
    using Card::Card;
    Ptr< Port > newPort( U16 key ) override {
      early = port_.instantiate( key, [ & ] { return Card::newPort( key ); } );
      return Card::newPort( key );
    }
    Ptr< Port > early;
  };
  auto racer = Kiv::make< Racer >( "racer" );
  Log raceLog( racer );
  EXPECT_EQ( racer->portIs( 1 ), racer->early );
  EXPECT_EQ( raceLog.take(), "port+1;" );
}

TEST_F( AttributeTest, ReinstantiationComparesTheParameters ) {
  EXPECT_EQ( owner->portIs( 1, 2 ), owner->portIs( 1, 2 ) );
  EXPECT_THAT(
      [ & ] { owner->portIs( 1, 3 ); },
      testing::ThrowsMessage< Kiv::NameInUseException >(
          "Reinstantiating the entity with name m where constructor parameter attribute "
          "_strategy has a different value of 3 than the current value of 2 not allowed" ) );
}

TEST_F( AttributeTest, OwnerDestructionFreesMembersAndClearsParents ) {
  Port::deaths = 0;
  Ptr< Port > kept = owner->portIs( 1 );
  owner->portIs( 2 );
  auto walk = owner->portIter();
  log.notifierIs( nullptr );
  owner = nullptr;
  EXPECT_EQ( Port::deaths, 1 );
  EXPECT_EQ( kept->parent(), nullptr );
  EXPECT_FALSE( walk );
}

TEST_F( AttributeTest, DeleteAllStopsWhenAnObserverDestroysTheOwner ) {
  struct Ender : Card::Notifiee {
    void onPort( U16 ) override {
      if ( --left == 0 )
        owner = nullptr;
    }
    int left = 2;
    Ptr< Card > owner;
  } ender;
  ender.owner = Kiv::make< Card >( "x" );
  for ( U16 key : { 1, 2, 3 } )
    ender.owner->portIs( key );
  ender.notifierIs( ender.owner );
  Port::deaths = 0;
  ender.owner->portDelAll();
  EXPECT_EQ( Port::deaths, 3 );
  EXPECT_EQ( ender.left, 0 ) << "the third went with its owner, untold";
}

TEST_F( AttributeTest, ValueMayHoldTheLastReferenceToItsOwner ) {
  for ( U32 key : { 1, 2 } ) {
    owner->peerIs( key, Kiv::make< Port >( "peer", key ) );
    owner->peer( key )->home = owner;
  }
  Card & card = *owner;
  owner = nullptr;
  Port::deaths = 0;
  card.peerDelAll();
  EXPECT_EQ( Port::deaths, 2 );
  EXPECT_EQ( log.notifier(), nullptr );
}

// Its setters and deleters record their calls.
struct LoudCard : Card {
  using Card::Card;
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

  Ptr< LoudCard > card = Kiv::make< LoudCard >( "card" );
  GenericIf generic{ Ptr< Entity >( card ) };
};

// Class and text of the exception that the code throws.
std::string refusal( const std::function< void() > & act ) {
  try {
    act();
  } catch ( const Kiv::TypeException & exception ) {
    return std::string( "type: " ) + exception.what();
  } catch ( const Kiv::NoImplementationException & exception ) {
    return std::string( "not supported: " ) + exception.what();
  } catch ( const Kiv::UnhashableException & exception ) {
    return std::string( "unhashable: " ) + exception.what();
  } catch ( const Kiv::RangeException & exception ) {
    return std::string( "range: " ) + exception.what();
  }
  return "";
}

TEST_F( GenericIfTest, AttributesAreListedInDeclarationOrderWithTypes ) {
  std::vector< std::string > seen;
  auto i = generic.genericIfAttributeIterator();
  for ( ; i; i.iterInc() ) {
    const Kiv::Type * key = i.attribute().keyType();
    seen.push_back( std::string( i.attribute().name() ) + ( key ? " " : "" ) +
                    ( key ? key->name() : "" ) + ": " + i.attribute().valueType().name() );
  }
  EXPECT_EQ( refusal( [ & ] { i.attribute(); } ), "range: out-of-range collection access" );
  EXPECT_THAT( seen, ElementsAre( "name: Name", "slot: U8", "mode: Mode", "uplink: entity",
                                  "ports: Test::Ports", "label U32: String8", "copies U32: U32",
                                  "peer U32: entity", "users String8: S32", "port U16: entity",
                                  "closed: U32" ) );
  EXPECT_EQ( generic.attribute( "mode" ).valueType().enumeration()->valueAt( 1 ), modeOn );
  EXPECT_EQ( read( "name" ).as< Kiv::Name >(), "card" );
  EXPECT_FALSE( card->nameIsFromBackup() );
  for ( const char * saved : { "name", "slot" } )
    EXPECT_EQ( generic.attribute( saved ).kind(), Kiv::AttributeKind::constant );
  for ( const char * refused : { "slot", "mode" } )
    EXPECT_DEATH( card->saveConstructParams( generic.attribute( refused ) ), "place_ == 0" );
  EXPECT_EQ( read( "ports" ).parts()[ 0 ].elements.size(), 2u );
}

TEST_F( GenericIfTest, WritesUseTheSettersAndNotifyOnce ) {
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

TEST_F( GenericIfTest, EntitiesAreInsertedReferencedAndDeleted ) {
  const Any made = generic.genericIfAttributeOp( "port", AttributeOp::insert, Any( U16( 7 ) ) );
  EXPECT_EQ( made.as< Ptr< Entity > >(), card->port( 7 ) );
  write( "uplink", {}, made );
  EXPECT_EQ( card->uplink(), card->port( 7 ) );
  EXPECT_EQ( read( "uplink" ).strep(), "'7'" );
  EXPECT_TRUE( del( "port", Any( U16( 7 ) ) ) );
  EXPECT_EQ( read( "port", Any( U16( 7 ) ) ).strep(), "None" );
  write( "uplink", {}, Any( Ptr< Entity >() ) );
  EXPECT_EQ( card->uplink(), nullptr );
}

TEST_F( GenericIfTest, KeyWalkAllowsDeletion ) {
  for ( const U32 key : { 12U, 13U, 14U } )
    card->labelIs( key, "x" );
  std::vector< std::string > seen;
  auto i = generic.genericIfAttributeIteratorKey( "label" );
  for ( ; i; i.iterInc() ) {
    EXPECT_EQ( i.value().as< String8 >(), "x" );
    seen.emplace_back( i.key().strep().charPtr() );
    seen.emplace_back( i.iterDel() ? "deleted" : "kept" );
  }
  EXPECT_THAT( seen, ElementsAre( "12", "deleted", "13", "kept", "14", "deleted" ) );
  card->labelIs( 14, "x" );
  EXPECT_FALSE( i.iterDel() );
  EXPECT_THROW( i.key(), Kiv::RangeException );
  EXPECT_THROW( i.value(), Kiv::RangeException );
  card->labelDelAll();
  EXPECT_TRUE( card->labelSize() == 1 && card->labelHas( 13 ) ) << "it runs the same deleter";
}

TEST_F( GenericIfTest, InvalidOperationsAreRefusedAndChangeNothing ) {
  using enum AttributeOp;
  const Any none, one( U32( 1 ) ), text{ String8() };
  const Any nobody{ Ptr< Entity >() }, me{ Ptr< Entity >( card ) };
  const struct {
    AttributeOp op;
    const char * attribute;
    Any key, value;
    const char * words;
  } cases[] = {
      { write, "mode", none, one, "type: attribute mode takes Mode, not U32" },
      { write, "mode", none, none, "type: attribute mode takes Mode, not nothing" },
      { read, "mode", one, none, "type: attribute mode has no keys" },
      { read, "name", one, none, "type: attribute name has no keys" },
      { read, "mode", none, one, "type: only a write of attribute mode takes a value" },
      { write, "uplink", none, me, "type: attribute uplink takes entities of another class" },
      { write, "label", Any( U16( 1 ) ), text,
        "type: the key of attribute label takes U32, not U16" },
      { del, "users", Any( Ports() ), none, "unhashable: a value of type Test::Ports has no hash" },
      { insert, "port", nobody, none, "unhashable: a value of type entity has no hash" },
      { write, "slot", none, one, "slot write" },
      { write, "name", none, text, "name write" },
      { write, "closed", none, one, "closed write" },
      { insert, "label", one, none, "label insert" },
      { write, "port", one, nobody, "port write" },
      { del, "mode", none, none, "mode delete" },
  };
  for ( const auto & c : cases ) {
    std::string words = c.words;
    if ( words.find( ':' ) == words.npos )
      words = "not supported: attribute " +
              words.replace( words.find( ' ' ), 1, " of Test::Card does not support " );
    EXPECT_EQ(
        refusal( [ & ] { generic.genericIfAttributeOp( c.attribute, c.op, c.key, c.value ); } ),
        words );
  }
  EXPECT_EQ( refusal( [ & ] { generic.genericIfAttributeIteratorKey( "slot" ); } ),
             "not supported: attribute slot has no keys to walk" );
  EXPECT_TRUE( card->attribute( "mode" )->has( none ) );
  EXPECT_EQ( refusal( [ & ] { card->attribute( "mode" )->has( one ); } ),
             "type: attribute mode has no keys" );
  EXPECT_EQ( refusal( [ & ] { generic.attribute( "modes" ); } ),
             "not supported: Test::Card has no attribute modes" );
  EXPECT_EQ( refusal( [ & ] { generic.genericIfAttributeOp( "mode", AttributeOp( 4 ) ); } ),
             "not supported: no such operation on attributes" );
  EXPECT_EQ( refusal( [] { Any().strep(); } ), "type: there is no value" );
  EXPECT_EQ( card->take(), "" );
}

TEST_F( GenericIfTest, PublishedFunctionsAreCalledByName ) {
  const auto call = [ this ]( const char * operation, const std::vector< Any > & arguments ) {
    return generic.genericIfOperation( operation, arguments );
  };
  const Any two( U32( 2 ) );
  EXPECT_EQ( call( "weigh", { two, Any( String8( "abc" ) ) } ).as< U32 >(), 203u );
  EXPECT_TRUE( call( "isUplink", { Any( Ptr< Entity >() ) } ).as< bool >() );
  card->modeIs( modeOn );
  EXPECT_TRUE( call( "reset", {} ).empty() );
  EXPECT_EQ( card->mode(), modeOff );
  const std::vector< Any > twoTwos{ two, two };
  EXPECT_EQ( refusal( [ & ] { call( "weigh", { two } ); } ),
             "type: weigh takes 2 arguments, not 1" );
  EXPECT_EQ( refusal( [ & ] { call( "weigh", twoTwos ); } ),
             "type: parameter 2 of weigh takes String8, not U32" );
  EXPECT_EQ( refusal( [ & ] { call( "weight", {} ); } ),
             "not supported: Test::Card has no published function weight" );
}

template < class... Integers >
void expectHeldByWidthAndSign() {
  const auto expectHeld = []< class T >( T value ) {
    using Fixed = Kiv::FixedWidth< T >;
    const Any held( value );
    EXPECT_TRUE( held.is< T >() && held.type() == Kiv::typeOf< Fixed >() );
    EXPECT_TRUE( held.as< T >() == value && held.as< Fixed >() == static_cast< Fixed >( value ) );
    EXPECT_TRUE( Kiv::typeOf< T >().fromStrRep( held.strep().view() ).template as< T >() == value );
  };
  ( expectHeld( std::numeric_limits< Integers >::min() ), ... );
  ( expectHeld( std::numeric_limits< Integers >::max() ), ... );
}

TEST( AnyTest, IntegersKeepTheirWidthAndSign ) {
  expectHeldByWidthAndSign< char, signed char, unsigned char, wchar_t, char8_t, char16_t, char32_t,
                            short, unsigned short, int, unsigned, long, unsigned long, long long,
                            unsigned long long, std::size_t >();
  EXPECT_EQ( Any( 7LL ).as< S64 >(), 7 );
  EXPECT_EQ( Any( U16( 7 ) ).as< char16_t >(), 7 );
  EXPECT_FALSE( Any( 7LL ).is< U64 >() || Any( 7LL ).is< S32 >() || Any( true ).is< U8 >() );
  EXPECT_ANY_THROW( Kiv::typeOf< U8 >().fromStrRep( "7 8" ) );
}

TEST( AnyTest, OnlyValuesOfOneTypeAreOrdered ) {
  const Any none, one( U32( 1 ) ), two( U32( 2 ) ), otherType( U16( 2 ) );
  EXPECT_TRUE( one < two );
  EXPECT_FALSE( two < one || one < one || one < otherType || none < one || one < none );
}

// Reflection costs an attribute two offsets and one pointer.
static_assert( sizeof( Kiv::AttributeBase ) == 2 * sizeof( void * ) + 8 );
static_assert( sizeof( Kiv::Scalar< void * > ) == 4 * sizeof( void * ) + 8 );
static_assert( sizeof( Entity ) == 9 * sizeof( void * ) + 16 );

}  // namespace
