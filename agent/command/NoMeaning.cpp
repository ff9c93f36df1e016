// In place of the commands about what lists mean, in builds without sets of packets.
#include "agent/command/MeaningCommands.h"
#include "agent/command/UsageError.h"

namespace Agent {

namespace {

constexpr const char * withoutSets =
    "this is a 32-bit build, which has no library for sets of packets";

}  // namespace

bool checkCommand( const MeaningOptions & ) {
  throw UsageError( withoutSets );
}

bool diffCommand( const MeaningOptions & ) {
  throw UsageError( withoutSets );
}

bool compactCommand( const MeaningOptions & ) {
  throw UsageError( withoutSets );
}

}  // namespace Agent
