// The formatted text of reports, and its way to a file descriptor. Internal.
#pragma once

#include <string>
#include <string_view>

#include "kiv/Types.h"

namespace Morvane {

using namespace Kiv::Integers;

// Appends text as printf would write it.
[[gnu::format( printf, 2, 3 )]] void appendFormatted( std::string & text, const char * format,
                                                      ... );

// Writes text to a descriptor that the caller keeps open, in large pieces. A signal or a short
// write does not break a report off. A reader that went away, or any other failure, ends it
// quietly: what is printed afterwards is dropped, and the process gets no SIGPIPE.
class ReportWriter {
 public:
  explicit ReportWriter( U32 fd ) : fd_( static_cast< int >( fd ) ) {}
  // Writes what is left.
  ~ReportWriter() { flush(); }
  ReportWriter( const ReportWriter & ) = delete;
  ReportWriter & operator=( const ReportWriter & ) = delete;

  // The text to append to; call written() after that.
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
