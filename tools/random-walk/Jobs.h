// Runs the stretches of a plan, several at a time, each in its own process.
#pragma once

#include <functional>
#include <string>
#include <vector>

#include "tools/random-walk/Stretch.h"

namespace Test::RandomWalk {

struct Finding {
  U64 stretch = 0;
  U32 step = 0;      // of the stretch, where it was found
  std::string text;  // output of the process
};

class Jobs {
 public:
  Jobs( const Plan & plan, U32 processes );
  ~Jobs();
  Jobs( const Jobs & ) = delete;
  Jobs & operator=( const Jobs & ) = delete;

  // Runs stretches from 0 on until that many operations or a finding. Calls `progress` after each.
  std::vector< Finding > run( U64 operations,
                              const std::function< void( const Tally & ) > & progress );
  // Runs one stretch.
  std::vector< Finding > runOne( U64 number );
  const Tally & total() const { return total_; }

 private:
  struct Process;

  void start( const Stretch & stretch, U64 number );
  void awaitOne();

  const Plan plan_;
  std::vector< Process > processes_;
  void * tallies_;  // shared with the processes
  U32 running_ = 0;
  Tally total_;
  std::vector< Finding > findings_;
};

}  // namespace Test::RandomWalk
