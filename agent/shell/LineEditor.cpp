#include "agent/shell/LineEditor.h"

#include <fmt/core.h>
#include <histedit.h>

#include <algorithm>
#include <clocale>
#include <cstdio>
#include <cwchar>

#include "agent/report/Terminal.h"

namespace Agent {

namespace {

constexpr int historyMax = 1000;

// The words in columns, below the line.
std::string inColumns( const std::vector< std::string > & words ) {
  size_t width = 0;
  for ( const std::string & word : words )
    width = std::max( width, word.size() + 2 );
  const size_t columns =
      std::max< size_t >( 1, Terminal::standardOutput().columns / std::max< size_t >( width, 1 ) );
  std::string text = "\n";
  for ( size_t i = 0; i < words.size(); ++i )
    text += i % columns == columns - 1 || i + 1 == words.size()
                ? words[ i ] + "\n"
                : fmt::format( "{:<{}}", words[ i ], width );
  return text;
}

}  // namespace

class LineEditor::Impl {
 public:
  Impl( std::string prompt, std::string file, Complete complete );
  Impl( const Impl & ) = delete;
  Impl & operator=( const Impl & ) = delete;
  ~Impl();

  std::optional< std::string > next();

 private:
  static Impl & of( EditLine * editor ) {
    void * self = nullptr;
    el_get( editor, EL_CLIENTDATA, &self );
    return *static_cast< Impl * >( self );
  }
  static char * promptOf( EditLine * editor ) { return of( editor ).prompt_.data(); }
  static unsigned char completeAt( EditLine * editor, wint_t ) {
    return of( editor ).completeLine();
  }
  static unsigned char cancelAt( EditLine * editor, wint_t ) {
    of( editor ).cancelled_ = true;
    return CC_NEWLINE;
  }
  unsigned char completeLine();

  std::string prompt_;
  const std::string file_;
  const Complete complete_;
  EditLine * editor_;
  History * history_;
  HistEvent event_ = {};
  bool cancelled_ = false;
};

LineEditor::Impl::Impl( std::string prompt, std::string file, Complete complete )
    : prompt_( std::move( prompt ) ),
      file_( std::move( file ) ),
      complete_( std::move( complete ) ),
      editor_( nullptr ),
      history_( history_init() ) {
  std::setlocale( LC_CTYPE, "" );  // for characters of several bytes
  editor_ = el_init( "morvane-tcam", stdin, stdout, stderr );
  el_set( editor_, EL_CLIENTDATA, this );
  el_set( editor_, EL_PROMPT, &Impl::promptOf );
  el_set( editor_, EL_EDITOR, "emacs" );
  // By way of el_set, libedit copies the two texts and never frees them.
  el_wset( editor_, EL_ADDFN, L"complete", L"Complete the word", &Impl::completeAt );
  el_set( editor_, EL_BIND, "^I", "complete", nullptr );
  history( history_, &event_, H_SETSIZE, historyMax );
  history( history_, &event_, H_SETUNIQUE, 1 );
  if ( !file_.empty() )
    history( history_, &event_, H_LOAD, file_.c_str() );
  el_set( editor_, EL_HIST, history, history_ );
  // While a line is edited, its key ends the line, not the process.
  el_set( editor_, EL_SETTY, "-d", "-isig", nullptr );
  el_wset( editor_, EL_ADDFN, L"cancel", L"Drop the line", &Impl::cancelAt );
  el_set( editor_, EL_BIND, "^C", "cancel", nullptr );
}

LineEditor::Impl::~Impl() {
  if ( !file_.empty() )
    history( history_, &event_, H_SAVE, file_.c_str() );
  el_end( editor_ );
  history_end( history_ );
}

std::optional< std::string > LineEditor::Impl::next() {
  int size = 0;
  cancelled_ = false;
  const char * const line = el_gets( editor_, &size );
  const bool ended = line == nullptr || size <= 0;
  if ( ended || cancelled_ ) {
    std::fputs( "\n", stdout );
    std::fflush( stdout );
    return cancelled_ ? std::optional< std::string >( "" ) : std::nullopt;
  }
  std::string text( line, static_cast< size_t >( size ) );
  if ( text.ends_with( '\n' ) )
    text.pop_back();
  if ( text.find_first_not_of( " \t" ) != std::string::npos )
    history( history_, &event_, H_ENTER, text.c_str() );
  return text;
}

// A blank follows a word that is complete.
unsigned char LineEditor::Impl::completeLine() {
  const LineInfo * const info = el_line( editor_ );
  const std::string_view typed( info->buffer,
                                static_cast< size_t >( info->cursor - info->buffer ) );
  const Completions found = complete_( typed );
  if ( found.words.empty() )
    return CC_REFRESH_BEEP;
  const std::string start = commonStart( found.words );
  std::string more = start.substr( typed.size() - found.from );
  if ( found.words.size() == 1 && !start.ends_with( '/' ) && !start.ends_with( ':' ) )
    more += ' ';
  if ( !more.empty() )
    return el_insertstr( editor_, more.c_str() ) == 0 ? CC_REFRESH : CC_REFRESH_BEEP;
  std::fputs( inColumns( found.words ).c_str(), stdout );
  std::fflush( stdout );
  return CC_REDISPLAY;
}

LineEditor::LineEditor( const std::string & prompt, const std::string & historyFile,
                        const Complete & complete )
    : impl_( std::make_unique< Impl >( prompt, historyFile, complete ) ) {}
LineEditor::~LineEditor() = default;
std::optional< std::string > LineEditor::next() {
  return impl_->next();
}

}  // namespace Agent
