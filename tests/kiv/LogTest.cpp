#include <gtest/gtest.h>

#include <string>

#include "kiv/LogHandle.h"
#include "morvane/LogMessages.h"

struct Facility : Kiv::LogSink {
  bool okToLog( const Kiv::LogHandle & message ) override { return message.severity() < 6; }
  void log( const Kiv::LogHandle & message ) override {
    logged += std::string( message.mnemonic() ) + ": " + message.recommendedAction() + "\n";
  }
  const char * actionText( Kiv::StandardLogAction action ) const override {
    return action == Kiv::NoActionRequired ? "rest" : "call";
  }
  std::string logged;
};

TEST( LogTest, MessagesGoToThePlatformInItsWordsWhenItTakesThem ) {
  Facility facility;
  Kiv::logSinkIs( &facility );
  Morvane::MORVANE_CONFIG_CHANGE.raise();
  Morvane::MORVANE_UNEXPECTED_RESTART.raise();
  Morvane::MORVANE_UDF_HW_RESOURCE_NORMAL.raise();
  Kiv::logSinkIs( nullptr );
  EXPECT_EQ( facility.logged,
             "MORVANE_UNEXPECTED_RESTART: call\nMORVANE_UDF_HW_RESOURCE_NORMAL: rest\n" );
}
