// Formats the text of reports and writes it to a file descriptor. Internal.
#pragma once

#include <string>
#include <string_view>

#include "kiv/Types.h"

namespace Morvane {

using namespace Kiv::Integers;

[[gnu::format( printf, 2, 3 )]] void appendFormatted( std::string & text, const char * format,
                                                      ... );

// Writes text to a descriptor in large pieces. Signals and short writes do not end a report. After
// a closed reader or another failure the rest is dropped, without an error and without SIGPIPE.
class ReportWriter {
 public:
  explicit ReportWriter( U32 fd ) : fd_( static_cast< int >( fd ) ) {}
  ~ReportWriter() { flush(); }
  ReportWriter( const ReportWriter & ) = delete;
  ReportWriter & operator=( const ReportWriter & ) = delete;

  // The text to append to; call written() afterwards.
  std::string & text() { return text_; }
  void written() {
    if ( text_.size() >= pieceSize )
      flush();
  }

 private:
  static constexpr std::size_t pieceSize = 1 << 16;

  void flush();

  int fd_;
  std::string text_;
  bool ended_ = false;
};

}  // namespace Morvane
