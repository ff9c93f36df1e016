#include <gtest/gtest.h>

#include <string>

#include "kiv/LogHandle.h"
#include "morvane/LogMessages.h"

namespace {

struct Facility : Kiv::LogSink {
  Facility() : before( Kiv::logSinkIs( this ) ) {}
  ~Facility() override { Kiv::logSinkIs( before ); }
  bool okToLog( const Kiv::LogHandle & message ) override { return message.severity() < quietFrom; }
  void log( const Kiv::LogHandle & message ) override {
    logged += std::string( message.mnemonic() ) + ": " + message.recommendedAction() + "\n";
  }
  const char * actionText( Kiv::StandardLogAction action ) const override {
    return action == Kiv::NoActionRequired ? "rest" : "call";
  }
  Kiv::U32 quietFrom = 10;
  std::string logged;
  Kiv::LogSink * before;
};

TEST( LogTest, MessagesGoToThePlatformInItsWordsWhenItTakesThem ) {
  using namespace Morvane;
  MORVANE_CONFIG_CHANGE.raise();  // without a facility: nothing
  EXPECT_STREQ( MORVANE_CONFIG_CHANGE.recommendedAction(), "" );
  Facility facility;
  MORVANE_UDF_HW_RESOURCE_FULL.raise();
  facility.quietFrom = 6;
  MORVANE_CONFIG_CHANGE.raise();
  MORVANE_UNEXPECTED_RESTART.raise();
  MORVANE_UDF_HW_RESOURCE_NORMAL.raise();
  EXPECT_EQ( facility.logged,
             "MORVANE_UDF_HW_RESOURCE_FULL: Reconfigure other ACLs or features that use UDF to "
             "free up UDF hardware resources.\n"
             "MORVANE_UNEXPECTED_RESTART: call\nMORVANE_UDF_HW_RESOURCE_NORMAL: rest\n" );
  EXPECT_EQ( MORVANE_CONFIG_CHANGE.parameter( 0 ), 0.0 );
  EXPECT_EQ( MORVANE_CONFIG_CHANGE.parameter( 1 ), 1.0 );
}

}  // namespace
