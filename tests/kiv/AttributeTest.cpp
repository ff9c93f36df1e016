// The generated operations of attributes, on both kinds of map.
#include "kiv/Attribute.h"

#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "kiv/Enum.h"
#include "kiv/HashMap.h"
#include "kiv/RbTreeMap.h"

namespace {

using Kiv::Ptr;
using Kiv::S32;
using Kiv::String8;
using Kiv::U32;
using Kiv::ValidPtr;

class Member : public Kiv::Entity {
 public:
  Member( const Kiv::Name & name, U32 strategy )
      : Entity( name ), strategy_( this, "strategy", strategy ) {}
  ~Member() override { ++deaths; }
  KIV_CONST( U32, strategy, Strategy );
  static inline int deaths = 0;
};

class Owner : public Kiv::Entity {
 public:
  struct Notifiee : Kiv::NotifieeConst {
    virtual void onReady() {}
    virtual void onLabel( U32 ) {}
    virtual void onCount( U32 ) {}
    virtual void onMember( U32 ) {}
    virtual void onOrdered( String8 ) {}
  };
  explicit Owner( const Kiv::Name & name ) : Entity( name ) {}

  KIV_SCALAR( bool, ready, Ready, false );
  KIV_VALUES( Kiv::RbTreeMap, U32, String8, label, Label );
  KIV_COUNTS( Kiv::HashMap, U32, S32, count, Count );
  KIV_MEMBERS( Kiv::HashMap, U32, Member, member, Member );
  KIV_MEMBERS( Kiv::RbTreeMap, String8, Member, ordered, Ordered );

  // A get-or-create with constructor parameters, as the managers write it.
  ValidPtr< Member > memberIs( U32 key, U32 strategy ) {
    ValidPtr< Member > member =
        member_.instantiate( key, [ & ] { return Kiv::make< Member >( "m", strategy ); } );
    member->strategyParam().requireSame( strategy );
    return member;
  }
};

Ptr< Member > Owner::newMember( U32 key ) {
  return key == 13 ? nullptr : Kiv::make< Member >( "m", key );
}
Ptr< Member > Owner::newOrdered( String8 key ) {
  return Kiv::make< Member >( key, 0 );
}

struct Log : Owner::Notifiee {
  explicit Log( const Ptr< Owner > & subject ) : owner( *subject ) { notifierIs( subject ); }
  void onReady() override { text += owner.ready() ? "ready;" : "down;"; }
  void onLabel( U32 key ) override {
    text += "label" + std::to_string( key ) + "=" + owner.label( key ).charPtr() + ";";
  }
  void onCount( U32 key ) override {
    text += "count" + std::to_string( key ) + "=" + std::to_string( owner.count( key ) ) + ";";
  }
  void onMember( U32 key ) override {
    text += ( owner.member( key ) ? "member+" : "member-" ) + std::to_string( key ) + ";";
  }
  void onOrdered( String8 key ) override {
    text += std::string( "ordered " ) + key.charPtr() + ";";
  }
  // What was told since the last call.
  std::string take() { return std::exchange( text, "" ); }
  Owner & owner;
  std::string text;
};

class AttributeTest : public testing::Test {
 protected:
  Ptr< Owner > owner = Kiv::make< Owner >( "owner" );
  Log log{ owner };
};

TEST_F( AttributeTest, ScalarsValuesAndCountsTellOfChangesOnly ) {
  owner->readyIs( false );
  EXPECT_EQ( log.take(), "" );
  owner->readyIs( true );
  owner->labelIs( 3, "" );  // present and empty is not the same as absent
  owner->labelIs( 3, "" );
  owner->labelIs( 3, "c" );
  EXPECT_EQ( log.take(), "ready;label3=;label3=c;" );
  EXPECT_FALSE( owner->labelDel( 4 ) );
  EXPECT_EQ( owner->label( 4 ), "" );
  EXPECT_FALSE( owner->labelHas( 4 ) );
  EXPECT_TRUE( owner->labelDel( 3 ) );
  EXPECT_EQ( log.take(), "label3=;" );
  EXPECT_EQ( owner->countInc( 1, 0 ), 0 );
  EXPECT_TRUE( owner->countHas( 1 ) );
  EXPECT_EQ( log.take(), "" );
  EXPECT_EQ( owner->countInc( 1, 2 ), 2 );
  EXPECT_EQ( owner->countInc( 2, -1 ), -1 );
  EXPECT_EQ( owner->countInc( 1, -2 ), 0 );
  EXPECT_EQ( log.take(), "count1=2;count2=-1;count1=0;" );
}

TEST_F( AttributeTest, WalksDeleteThroughTheirIterator ) {
  for ( U32 key = 1; key <= 5; ++key ) {
    owner->labelIs( key, "x" );
  }
  log.take();
  for ( auto i = owner->labelIter(); i; ++i ) {
    if ( i.key() % 2 ) {
      owner->labelDel( i );
    }
  }
  EXPECT_EQ( log.take(), "label1=;label3=;label5=;" );
  EXPECT_TRUE( owner->labelIteratorConst().isMemberOf( 2 ) );
  owner->labelDelAll();
  EXPECT_EQ( log.take(), "label2=;label4=;" );
  EXPECT_EQ( owner->labelSize(), 0u );
}

TEST_F( AttributeTest, MembersAreMadeOnceAndToldOnce ) {
  ValidPtr< Member > made = owner->memberIs( 7 );
  EXPECT_EQ( owner->memberIs( 7 ), made );
  EXPECT_EQ( made->parent(), owner.get() );
  EXPECT_EQ( made->references(), 2u );
  EXPECT_EQ( owner->memberDel( 8 ), nullptr );
  EXPECT_EQ( log.take(), "member+7;" );
  EXPECT_EQ( owner->memberDel( 7 ), made.ptr() );
  EXPECT_EQ( made->parent(), nullptr );
  EXPECT_THROW( owner->memberIs( 13 ), Kiv::RangeException );
  EXPECT_FALSE( owner->memberHas( 13 ) );
  EXPECT_EQ( log.take(), "member-7;" );
}

TEST_F( AttributeTest, AMemberThatAppearsWhileAnotherIsMadeStays ) {
  struct Racer : Owner {
    using Owner::Owner;
    Ptr< Member > newMember( U32 key ) override {
      early = member_.instantiate( key, [ & ] { return Owner::newMember( key ); } );
      return Owner::newMember( key );
    }
    Ptr< Member > early;
  };
  auto racer = Kiv::make< Racer >( "racer" );
  Log raceLog( racer );
  EXPECT_EQ( racer->memberIs( 1 ), racer->early );
  EXPECT_EQ( raceLog.take(), "member+1;" );
}

TEST_F( AttributeTest, ReinstantiationComparesTheParameters ) {
  EXPECT_EQ( owner->memberIs( 1, 2 ), owner->memberIs( 1, 2 ) );
  try {
    owner->memberIs( 1, 3 );
    FAIL() << "other parameters were accepted";
  } catch ( const Kiv::NameInUseException & exception ) {
    EXPECT_STREQ( exception.what(),
                  "Reinstantiating the entity with name m where constructor parameter attribute "
                  "_strategy has a different value of 3 than the current value of 2 not allowed" );
  }
}

TEST_F( AttributeTest, TheOwnersEndFreesItsMembersAndClearsParents ) {
  Member::deaths = 0;
  Ptr< Member > kept = owner->memberIs( 1 );
  owner->memberIs( 2 );
  auto walk = owner->memberIter();
  log.notifierIs( nullptr );
  owner = nullptr;
  EXPECT_EQ( Member::deaths, 1 );
  EXPECT_EQ( kept->parent(), nullptr );
  EXPECT_FALSE( walk );
}

TEST_F( AttributeTest, DeletingAllStopsWhenAnObserverEndsTheOwner ) {
  struct Ender : Owner::Notifiee {
    void onOrdered( String8 ) override {
      if ( --left == 0 ) {
        owner = nullptr;
      }
    }
    int left = 2;
    Ptr< Owner > owner;
  } ender;
  ender.owner = Kiv::make< Owner >( "x" );
  for ( const char * key : { "a", "b", "c" } ) {
    ender.owner->orderedIs( key );
  }
  ender.notifierIs( ender.owner );
  Member::deaths = 0;
  ender.owner->orderedDelAll();
  EXPECT_EQ( Member::deaths, 3 );
  EXPECT_EQ( ender.left, 0 ) << "the third went with its owner, untold";
}

TEST_F( AttributeTest, AnOverriddenSetterAndNotifyAreTheOnesThatRun ) {
  struct Special : Owner {
    using Owner::Owner;
    void countNotify( U32 key ) override {
      told += std::to_string( key );
      Owner::countNotify( key );
    }
    bool countDel( U32 key ) override { return key != 2 && Owner::countDel( key ); }
    std::string told;
  };
  auto special = Kiv::make< Special >( "special" );
  Log specialLog( special );
  for ( U32 key = 1; key <= 3; ++key ) {
    special->countIs( key, 5 );
  }
  special->countDelAll();
  EXPECT_EQ( special->countSize(), 1u );
  EXPECT_EQ( special->told.size(), 5u );
  EXPECT_EQ( special->count( 2 ), 5 );
}

TEST_F( AttributeTest, RegisteredInDeclarationOrderWithTheirKinds ) {
  std::vector< std::string > names;
  for ( auto * a = owner->firstAttribute(); a; a = a->next() ) {
    names.emplace_back( a->name() );
    EXPECT_EQ( &a->owner(), owner.get() );
  }
  EXPECT_EQ( names,
             ( std::vector< std::string >{ "ready", "label", "count", "member", "ordered" } ) );
  EXPECT_EQ( owner->attribute( "member" )->kind(), Kiv::AttributeKind::members );
  EXPECT_EQ( owner->attribute( "ready" )->kind(), Kiv::AttributeKind::scalar );
  EXPECT_EQ( owner->attribute( "missing" ), nullptr );
}

}  // namespace
