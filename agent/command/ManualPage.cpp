#include "agent/command/ManualPage.h"

#include <fmt/format.h>

#include <sstream>

#include "morvane/Version.h"

namespace Agent {

namespace {

// Text as it stands: no character of it is a request or an escape.
std::string literal( const std::string & text ) {
  std::string result;
  for ( const char c : text )
    if ( c == '\\' )
      result += "\\e";
    else if ( c == '-' )
      result += "\\-";
    else if ( c == ',' )
      result += ",\\:";  // long lists of names may be split
    else
      result += c;
  return ( result.starts_with( '.' ) || result.starts_with( '\'' ) ? "\\&" : "" ) + result;
}

std::string optionItem( const CLI::Option & option ) {
  std::string names = option.get_name( option.get_positional(), true );
  const std::string type = option.get_type_size() == 0 ? "" : " " + option.get_type_name();
  if ( const std::string value = option.get_default_str(); !value.empty() )
    names += fmt::format( "{} (default {})", type, value );
  else
    names += type;
  return fmt::format( ".TP\n.B {}\n{}\n", literal( names ), literal( option.get_description() ) );
}

// The help's examples and exit statuses, line by line.
std::string footerText( const std::string & footer ) {
  std::istringstream lines( footer );
  std::string text = ".nf\n";
  for ( std::string line; std::getline( lines, line ); )
    text += literal( line ) + "\n";
  return text + ".fi\n";
}

std::string commandSection( const CLI::App & command ) {
  std::string text = fmt::format( ".SS {}\n{}.\n", literal( command.get_name() ),
                                  literal( command.get_description() ) );
  for ( const CLI::Option * option : command.get_options() )
    text += optionItem( *option );
  const std::string footer = command.get_footer();
  return text + ".PP\n" + footerText( footer.substr( 0, footer.find( "\nExit status" ) ) );
}

}  // namespace

CLI::App & addManual( CLI::App & app ) {
  CLI::App & command = *app.add_subcommand( "manual", "Write the manual page" );
  command.group( "" );
  return command;
}

std::string manualPage( const CLI::App & app ) {
  std::string text = fmt::format(
      ".TH MORVANE\\-TCAM 1 \"{}\" \"morvane\\-tcam {}\"\n"
      ".ad l\n.SH NAME\nmorvane\\-tcam \\- access lists on a software switch\n"
      ".SH SYNOPSIS\n.B morvane\\-tcam\n.RI [ command ]\n.RI [ option ...]\n.RI [ file ...]\n"
      ".SH DESCRIPTION\n{}\n.SH OPTIONS\n",
      MORVANE_VERSION_DATE, MORVANE_VERSION, literal( app.get_description() ) );
  for ( const CLI::Option * option : app.get_options() )
    text += optionItem( *option );
  text += ".SH COMMANDS\n";
  for ( const CLI::App * command : app.get_subcommands( {} ) )
    if ( !command->get_group().empty() )
      text += commandSection( *command );
  const std::string footer = app.get_footer();
  const size_t statuses = footer.find( '\n', footer.find( "Exit status" ) ) + 1;
  return text + ".SH \"EXIT STATUS\"\n" + footerText( footer.substr( statuses ) ) +
         ".SH \"SEE ALSO\"\n.BR morvane\\-sdk\\-check (1),\n.BR morvane\\-formats (5),\n"
         ".BR morvane\\-packets (5),\n.BR morvane\\-platform (5),\n.BR morvane\\-records (5),\n"
         ".BR morvane\\-rules (5),\n.BR morvane\\-shell (5)\n";
}

}  // namespace Agent
