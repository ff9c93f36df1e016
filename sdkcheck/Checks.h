// The checks of a binding, and their run.
#pragma once

#include <string>
#include <vector>

#include "sdkcheck/Unit.h"

namespace SdkCheck {

struct Check {
  const char * name;
  const char * what;  // what holds if it passes
  void ( *run )( Unit & );
};

// In the order of their run: later ones rely on what earlier ones check.
const std::vector< Check > & checks();

struct Result {
  const Check * check;
  Verdict verdict;
  std::string reason;  // empty if ok
};

// Runs the check. After a pass, destroying what it left must succeed, and the capacity record, if
// there is one, must be as before.
Result run( const Check & check, Shim::SdkShim & sdk, U32 unit, U32 limit );

// "ok             entry-states", with the reason if it is not ok.
std::string textOf( const Result & result );

// The parts of the table.
extern const std::vector< Check > groupChecks;
extern const std::vector< Check > entryChecks;
extern const std::vector< Check > roomChecks;
extern const std::vector< Check > instanceChecks;
extern const std::vector< Check > counterChecks;
extern const std::vector< Check > policerChecks;
extern const std::vector< Check > selectionChecks;
extern const std::vector< Check > chipChecks;

}  // namespace SdkCheck
