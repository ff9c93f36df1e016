// Observers: registration, changes during a visit, exceptions, and destruction of either side.
#include "kiv/Entity.h"

#include <gtest/gtest.h>

#include <functional>
#include <memory>
#include <semaphore>
#include <stdexcept>
#include <string>
#include <thread>
#include <tuple>
#include <vector>

#include "kiv/Attribute.h"

namespace {

using Kiv::Ptr;
using Kiv::U32;

class Subject : public Kiv::Entity {
 public:
  struct Notifiee : Kiv::NotifieeConst {
    virtual void onLevel() {}
  };
  explicit Subject( const Kiv::Name & name ) : Entity( name ) {}
  KIV_SCALAR( U32, level, Level, 0 );
};

// Appends its letter, then runs its action.
class Watcher : public Subject::Notifiee {
 public:
  Watcher( std::string & log, char letter ) : log_( log ), letter_( letter ) {}
  void onLevel() override {
    log_ += letter_;
    if ( action )
      action();
  }
  void onZeroReferences() override {
    log_ += '0';
    if ( endAction )
      endAction();
  }
  void onNotificationException( const char * attribute, const std::exception_ptr & e ) override {
    log_ += '!';
    NotifieeConst::onNotificationException( attribute, e );
  }
  std::function< void() > action, endAction;

 private:
  std::string & log_;
  char letter_;
};

class ObserverTest : public testing::Test {
 protected:
  ObserverTest() { register3(); }
  void register3() {
    watchers.clear();
    for ( char letter : { 'a', 'b', 'c' } ) {
      watchers.push_back( std::make_unique< Watcher >( log, letter ) );
      watchers.back()->notifierIs( subject );
    }
  }

  // The letters of one change.
  std::string change() {
    log.clear();
    subject->levelIs( subject->level() + 1 );
    return log;
  }

  std::string log;
  Ptr< Subject > subject = Kiv::make< Subject >( "subject" );
  std::vector< std::unique_ptr< Watcher > > watchers;
};

TEST_F( ObserverTest, ObserversAreCalledInOrderAndOnlyOnChange ) {
  EXPECT_EQ( change(), "abc" );
  subject->levelIs( subject->level() );
  EXPECT_EQ( log, "abc" );
  watchers[ 0 ]->isRegisteredNotifieeIs( false );
  EXPECT_EQ( change(), "bc" );
  EXPECT_EQ( watchers[ 0 ]->notifier(), subject.get() );
  watchers[ 0 ]->isRegisteredNotifieeIs( true );
  watchers[ 0 ]->isRegisteredNotifieeIs( true );
  EXPECT_EQ( change(), "bca" );
  watchers[ 0 ]->isRegisteredNotifieeIs( false );
  watchers[ 0 ]->notifierIs( subject );  // registers it again
  EXPECT_EQ( change(), "bca" );
  auto other = Kiv::make< Subject >( "other" );
  watchers[ 1 ]->notifierIs( other );
  EXPECT_EQ( change(), "ca" );
  EXPECT_EQ( subject->references(), 1u ) << "observers own nothing";
}

TEST_F( ObserverTest, ObserversMayBeDestroyedDuringAVisit ) {
  const std::tuple< int, int, const char *, const char * > cases[] = {
      { 0, 0, "abc", "bc" }, { 0, 1, "ac", "ac" },  { 0, 2, "ab", "ab" }, { 1, 0, "abc", "bc" },
      { 1, 1, "abc", "ac" }, { 2, 2, "abc", "ab" }, { 2, 0, "abc", "bc" } };
  for ( const auto & [ actor, victim, during, after ] : cases ) {
    SCOPED_TRACE( testing::Message() << actor << " removes " << victim );
    register3();
    watchers[ actor ]->action = [ &, gone = victim ] { watchers[ gone ].reset(); };
    EXPECT_EQ( change(), during );
    if ( watchers[ actor ] )
      watchers[ actor ]->action = nullptr;
    EXPECT_EQ( change(), after );
  }
}

TEST_F( ObserverTest, ObserverRegisteredDuringAVisitWaitsForTheNext ) {
  Watcher late( log, 'd' );
  watchers[ 2 ]->action = [ & ] { late.notifierIs( subject ); };
  watchers[ 0 ]->action = [ & ] {
    watchers[ 0 ]->isRegisteredNotifieeIs( false );
    watchers[ 0 ]->isRegisteredNotifieeIs( true );
  };
  EXPECT_EQ( change(), "abc" );
  EXPECT_EQ( change(), "bcad" );
}

TEST_F( ObserverTest, VisitEndsAtItsLastObserver ) {
  for ( int actor : { 0, 1 } ) {  // the last one is removed early, and just before its turn
    Watcher late( log, 'd' );
    watchers[ actor ]->action = [ & ] {
      late.notifierIs( subject );
      watchers[ 2 ]->notifierIs( nullptr );
    };
    EXPECT_EQ( change(), "ab" );
    watchers[ actor ]->action = nullptr;
    EXPECT_EQ( change(), "abd" );
    watchers[ 2 ]->notifierIs( subject );
  }
}

TEST_F( ObserverTest, VisitsNest ) {
  watchers[ 1 ]->action = [ & ] {
    if ( subject->level() == 1 ) {
      subject->levelIs( 2 );
      watchers[ 2 ].reset();
    }
  };
  EXPECT_EQ( change(), "ababc" );
}

TEST_F( ObserverTest, ConcurrentVisitsMayEndInAnyOrder ) {
  std::binary_semaphore entered( 0 ), firstEnded( 0 );
  std::thread second;
  watchers[ 0 ]->action = [ & ] {
    if ( subject->level() == 1 ) {
      second = std::thread( [ & ] { subject->levelIs( 2 ); } );
      entered.acquire();
    } else {
      entered.release();
      firstEnded.acquire();
      watchers[ 1 ].reset();
    }
  };
  EXPECT_EQ( change(), "aabc" );
  firstEnded.release();
  second.join();
  EXPECT_EQ( log, "aabcc" );
}

TEST_F( ObserverTest, ExceptionReachesTheHookAndVisitContinues ) {
  watchers[ 0 ]->action = [] { throw std::runtime_error( "a" ); };
  watchers[ 1 ]->action = [ & ] {
    watchers[ 1 ].reset();  // its hook is not called
    throw 7;
  };
  // An observer that changed its subject during the visit keeps its hook.
  auto other = Kiv::make< Subject >( "other" );
  watchers[ 2 ]->action = [ & ] {
    watchers[ 2 ]->notifierIs( other->level() == 0 ? other : nullptr );
    other->levelIs( 1 );
    throw std::runtime_error( "c" );
  };
  testing::internal::CaptureStderr();
  EXPECT_EQ( change(), "a!bcc!!" );
  const std::string line = "Exception in notification of level: ";
  EXPECT_EQ( testing::internal::GetCapturedStderr(),
             line + "a\n" + line + "unknown exception\n" + line + "c\n" + line + "c\n" );
  EXPECT_EQ( subject->level(), 1u );
  EXPECT_STREQ( subject->fwkType(), "Kiv::Entity" );
}

TEST_F( ObserverTest, DestructionIsReportedOnceWhileTheSubjectIsIntact ) {
  watchers[ 0 ]->endAction = [ & ] {
    Ptr< const Kiv::Entity > brief( watchers[ 0 ]->notifier() );
    EXPECT_EQ( brief->name(), "subject" );
  };
  watchers[ 1 ]->endAction = [ & ] { watchers[ 2 ].reset(); };
  Watcher dormant( log, 'd' );
  dormant.notifierIs( subject );
  dormant.isRegisteredNotifieeIs( false );
  log.clear();
  subject = nullptr;
  EXPECT_EQ( log, "00" );
  for ( Watcher * watcher : { watchers[ 0 ].get(), &dormant } ) {
    EXPECT_EQ( watcher->notifier(), nullptr );
    watcher->isRegisteredNotifieeIs( true );
    EXPECT_FALSE( watcher->isRegisteredNotifiee() );
  }
  subject = Kiv::make< Subject >( "another" );
  dormant.notifierIs( subject );
  EXPECT_EQ( change(), "d" );
}

TEST_F( ObserverTest, ObserverMayDropTheLastReference ) {
  watchers[ 0 ]->action = [ & ] { subject = nullptr; };
  log.clear();
  subject->levelIs( 1 );
  EXPECT_EQ( log, "abc000" );
}

}  // namespace
