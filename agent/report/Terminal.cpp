#include "agent/report/Terminal.h"

#include <sys/ioctl.h>
#include <unistd.h>

#include <algorithm>
#include <cstdlib>

#include "agent/acl/PoliceRate.h"

namespace Agent {

namespace {

std::string variable( const char * name ) {
  const char * value = std::getenv( name );
  return value == nullptr ? "" : value;
}

U32 columnsOf( int terminal ) {
  if ( const auto columns = numberFromText( variable( "COLUMNS" ) ); columns && *columns != 0 )
    return static_cast< U32 >( std::min< U64 >( *columns, 10'000 ) );
  winsize size = {};
  constexpr U32 usual = 80;
  return ::ioctl( terminal, TIOCGWINSZ, &size ) == 0 && size.ws_col != 0 ? size.ws_col : usual;
}

}  // namespace

Terminal Terminal::standardOutput() {
  if ( ::isatty( STDOUT_FILENO ) != 1 )
    return {};
  const std::string type = variable( "TERM" );
  return { columnsOf( STDOUT_FILENO ),
           variable( "NO_COLOR" ).empty() && !type.empty() && type != "dumb" };
}

std::string painted( const Terminal & terminal, Paint paint, const std::string & text ) {
  if ( !terminal.colours || paint == Paint::none )
    return text;
  return ( paint == Paint::good ? "\033[32m" : "\033[31m" ) + text + "\033[0m";
}

}  // namespace Agent
