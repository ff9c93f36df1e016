// A progress bar on standard error for work that lasts over a second.
//
//   Progress progress( "programming" );
//   for ( ... )
//     progress.at( done, total );
//
// Shown only on a terminal that can erase it; the destructor does so.
#pragma once

#include <functional>
#include <string>

#include "kiv/Types.h"

namespace Agent {

using namespace Kiv::Integers;

// Where a bar is shown.
struct ProgressOutput {
  std::function< void( const std::string & ) > write;  // empty: nowhere
  std::function< U64() > milliseconds;                 // a clock that only advances
  U32 columns = 80;

  // Standard error, if it is a terminal that is not dumb.
  static ProgressOutput standardError();
};

class Progress {
 public:
  explicit Progress( std::string work, ProgressOutput output = ProgressOutput::standardError() );
  ~Progress();
  Progress( const Progress & ) = delete;
  Progress & operator=( const Progress & ) = delete;

  // Cheap where nothing is shown. Requires done <= total.
  void at( U64 done, U64 total ) {
    if ( output_.write && total != 0 )
      show( done, total );
  }

 private:
  void show( U64 done, U64 total );

  const std::string work_;
  const ProgressOutput output_;
  U64 next_ = 0;  // time
  bool shown_ = false;
};

}  // namespace Agent
