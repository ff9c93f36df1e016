// Runs a script on one switch: all public operations of the managers, with failing SDK calls and a
// second activity, checked against the model and by the auditor.
//
// The auditor runs every few steps and at the end, but not while cleanup is unfinished. After an
// exception and the unit's cleanup, the state must be the one before the operation, or after it for
// releases.
#pragma once

#include <functional>
#include <optional>
#include <span>
#include <stdexcept>
#include <string>
#include <vector>

#include "morvane/MorvaneTcamCapacitySm.h"
#include "tests/morvane/TestSwitch.h"
#include "tools/random-walk/Model.h"
#include "tools/random-walk/Script.h"

namespace Test::RandomWalk {

const char * opName( U32 op );
std::string userName( U32 user );

// Counts of a run; the parent process reads them while the child counts.
struct Tally {
  U64 operations = 0, exceptions = 0, codes = 0, arrivals = 0;
  U32 step = 0;  // current step of the script

  Tally & operator+=( const Tally & other );
};

struct Setting {
  Chip chip;
  bool singleView = false;
  U32 auditEvery = 16;  // steps
  std::string record;   // file for the calls that reach the chips; empty: none
};

class Walk {
 public:
  Walk( const Setting & setting, Tally & tally );
  ~Walk();

  // Return the finding, or "".
  std::string run( const Step & step );
  // Releases everything; the chips must be empty.
  std::string finish();

 private:
  friend const char * opName( U32 op );

  // An operation in progress.
  struct Turn {
    const Action & action;
    const User & user;
    const U32 unit;
    const Step * step;  // null: the second activity
  };
  struct Kind {
    const char * name;
    U32 weight;
    std::string ( Walk::*run )( const Turn & );
  };
  static const Kind kinds[];
  static const Kind & kindOf( U32 op );

  struct Injected : std::runtime_error {
    Injected() : runtime_error( "injected" ) {}
  };

  // The state after an exception.
  enum class Left {
    before,  // the state before the operation
    after,   // the state after the operation and its cleanup
    either,  // the caller checks
  };
  // A result code that the operation handles.
  struct Code {
    SdkOp op;
    int rc;
    std::optional< U32 > pipe = {};
    U32 times = 1;
    bool first = false;  // only for the first call
  };
  struct Terms {
    Left left = Left::before;
    std::span< const Code > codes = {};
    U32 entry = 0;            // of the operation
    bool inSteps = false;     // other operations may run between its steps
    bool allOfGroup = false;  // may release every entry of the user's group on the unit
    bool everything = false;  // deletes every manager
  };

  // Runs library code with the step's faults; false after an exception.
  bool attempt( const Turn & turn, const Terms & terms, const std::function< void() > & operation );
  bool arm( const Turn & turn, const Terms & terms );
  void recover( const Turn & turn, const Terms & terms, const std::string & before );
  U32 unfinished() const;

  std::string apply( const Action & action, const Step * step );
  std::string check( const Step & step );
  std::string checkAll();
  void fault( const std::string & text );

  // One of the user's entries on the unit, or null. `alone`: not one that the first activity uses.
  std::pair< const U32, Rule > * choose( const Turn & turn, bool alone );
  bool mayUse( const Turn & turn ) const;

  // Entries (EntrySteps.cpp)
  std::string get( const Turn & turn );
  std::string program( const Turn & turn );
  std::string install( const Turn & turn );
  std::string enable( const Turn & turn );
  std::string prioritize( const Turn & turn );
  std::string remove( const Turn & turn );
  std::string release( const Turn & turn );
  std::string attach( const Turn & turn );
  std::string count( const Turn & turn );
  U32 request( const Turn & turn, U32 offset );
  void writeRule( const Turn & turn, U32 id, Rule & rule );
  void changeStore( const Turn & turn, U32 id, Rule & rule, U32 choice );
  std::string installRule( const Turn & turn, U32 id, Rule & rule );

  // Groups and shared objects (GroupSteps.cpp)
  std::string compress( const Turn & turn );
  std::string ask( const Turn & turn );
  std::string group( const Turn & turn );
  std::string udf( const Turn & turn );
  std::string getChecker( const Turn & turn );
  std::string releaseChecker( const Turn & turn );
  std::string police( const Turn & turn );
  std::string bitmap( const Turn & turn );
  U32 udfUses( const Turn & turn, U8 offset ) const;
  std::string checkUsers( const Turn & turn, const RangeCheckerDesc & desc ) const;
  void changePolicer( const Turn & turn, U32 policer );

  // The whole switch (SwitchSteps.cpp)
  std::string report( const Turn & turn );
  std::string clear( const Turn & turn );
  std::string poll( const Turn & turn );
  std::string cleanUp( const Turn & turn );
  std::string reInit( const Turn & turn );
  void leaveUdfGroups( U32 unit );

  struct : TcamCapacityTable {
    void rowIs( const TcamCapacityKey &, const TcamCapacityRow & ) override {}
    void rowDel( const TcamCapacityKey & ) override {}
    void alarmIs( const TcamCapacityKey &, bool ) override {}
  } table_;
  const Setting setting_;
  Tally & tally_;
  TestSwitch sw_;
  Kiv::Ptr< MorvaneTcamCapacitySm > capacity_;
  std::vector< UnitModel > units_;
  const int nowhere_;  // a descriptor for reports

  // The first activity's operation, which limits the choices of the second.
  struct {
    Terms terms;
    U32 unit = 0, group = 0;
  } first_;
  bool codeFired_ = false;  // in the last attempt
  std::string wrong_;       // finding of an attempt or of the second activity
};

}  // namespace Test::RandomWalk
