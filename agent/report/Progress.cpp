#include "agent/report/Progress.h"

#include <fmt/core.h>
#include <sys/ioctl.h>
#include <unistd.h>

#include <algorithm>
#include <chrono>
#include <cstdlib>

#include "agent/report/OutputFile.h"

namespace Agent {

namespace {

constexpr U64 startAfter = 1000;  // milliseconds
constexpr U64 interval = 100;
constexpr U32 barMax = 40;
constexpr const char * eraseLine = "\r\033[K";

bool isTerminal() {
  const char * type = std::getenv( "TERM" );
  return ::isatty( STDERR_FILENO ) == 1 && type != nullptr && std::string_view( type ) != "dumb" &&
         *type != '\0';
}

U64 clockMilliseconds() {
  const auto now = std::chrono::steady_clock::now().time_since_epoch();
  return static_cast< U64 >(
      std::chrono::duration_cast< std::chrono::milliseconds >( now ).count() );
}

}  // namespace

ProgressOutput ProgressOutput::standardError() {
  if ( !isTerminal() )
    return {};
  ProgressOutput output = { printErrorText, clockMilliseconds };
  winsize size = {};
  if ( ::ioctl( STDERR_FILENO, TIOCGWINSZ, &size ) == 0 && size.ws_col != 0 )
    output.columns = size.ws_col;
  return output;
}

Progress::Progress( std::string work, ProgressOutput output )
    : work_( std::move( work ) ), output_( std::move( output ) ) {
  if ( output_.write )
    next_ = output_.milliseconds() + startAfter;
}

Progress::~Progress() {
  if ( shown_ )
    output_.write( eraseLine );
}

void Progress::show( U64 done, U64 total ) {
  const U64 now = output_.milliseconds();
  if ( now < next_ )
    return;
  next_ = now + interval;
  shown_ = true;
  // A line that is wrapped could not be erased.
  const std::string percent = fmt::format( "{:3} %", done * 100 / total );
  const size_t around = work_.size() + percent.size() + 6;
  const U64 width =
      output_.columns > around ? std::min< U64 >( output_.columns - around, barMax ) : 0;
  const U64 filled = done * width / total;
  output_.write( fmt::format( "{}{} [{}{}] {}", eraseLine, work_, std::string( filled, '#' ),
                              std::string( width - filled, '.' ), percent ) );
}

}  // namespace Agent
