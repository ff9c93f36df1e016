#include "agent/command/ManualPage.h"

#include <fmt/format.h>

#include <cctype>
#include <sstream>

#include "agent/report/OutputFile.h"
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

// The lines of a footer, as they stand.
std::string footerText( const std::string & footer ) {
  std::istringstream lines( footer );
  std::string text = ".nf\n";
  for ( std::string line; std::getline( lines, line ); )
    text += literal( line ) + "\n";
  return text + ".fi\n";
}

// "morvane-tcam-fit", "say whether access lists fit".
std::string head( const std::string & name, std::string what ) {
  what.front() =
      static_cast< char >( std::tolower( static_cast< unsigned char >( what.front() ) ) );
  std::string title = literal( name );
  for ( char & c : title )
    c = static_cast< char >( std::toupper( static_cast< unsigned char >( c ) ) );
  return fmt::format(
      ".TH {} 1 \"{}\" \"morvane\\-tcam {}\"\n.ad l\n.SH NAME\n{} \\- {}\n.SH SYNOPSIS\n", title,
      MORVANE_VERSION_DATE, MORVANE_VERSION, literal( name ), literal( what ) );
}

std::string optionsOf( const CLI::App & app ) {
  std::string text = ".SH OPTIONS\n";
  for ( const CLI::Option * option : app.get_options() )
    text += optionItem( *option );
  return text;
}

// From the exit statuses of the footer on.
std::string tail( const std::string & footer, const std::string & others ) {
  const size_t statuses = footer.find( '\n', footer.find( "Exit status" ) ) + 1;
  return ".SH \"EXIT STATUS\"\n" + footerText( footer.substr( statuses ) ) + ".SH \"SEE ALSO\"\n" +
         others +
         ".BR morvane\\-formats (5),\n.BR morvane\\-packets (5),\n"
         ".BR morvane\\-platform (5),\n.BR morvane\\-records (5),\n"
         ".BR morvane\\-rules (5),\n.BR morvane\\-shell (5)\n";
}

bool isListed( const CLI::App & command ) {
  return !command.get_group().empty();
}

std::string pageOf( const CLI::App & app ) {
  std::string text = head( app.get_name(), "access lists on a software switch" ) +
                     fmt::format(
                         ".B {}\n.RI [ command ]\n.RI [ option ...]\n.RI [ file ...]\n"
                         ".SH DESCRIPTION\n{}\n",
                         literal( app.get_name() ), literal( app.get_description() ) ) +
                     optionsOf( app ) + ".SH COMMANDS\n";
  for ( const CLI::App * command : app.get_subcommands( {} ) )
    if ( isListed( *command ) )
      text += fmt::format( ".TP\n.BR {}\\-{} (1)\n{}.\n", literal( app.get_name() ),
                           literal( command->get_name() ), literal( command->get_description() ) );
  return text + tail( app.get_footer(), ".BR morvane\\-sdk\\-check (1),\n" );
}

std::string pageOf( const CLI::App & app, const CLI::App & command ) {
  const std::string footer = command.get_footer();
  std::string text = head( app.get_name() + "-" + command.get_name(), command.get_description() ) +
                     fmt::format( ".B {} {}\n.RI [ option ...]\n", literal( app.get_name() ),
                                  literal( command.get_name() ) );
  for ( const CLI::Option * option : command.get_options() )
    if ( option->get_positional() )
      text += fmt::format( ".RI [ {} ]\n", literal( option->get_name( true ) ) );
  text += fmt::format( ".SH DESCRIPTION\n{}.\n", literal( command.get_description() ) );
  text += optionsOf( command );
  const size_t examples = footer.find( '\n' ) + 1;
  if ( const size_t end = footer.find( "\nExit status" ); examples < end )
    text += ".SH EXAMPLES\n" + footerText( footer.substr( examples, end - examples ) );
  return text + tail( footer, ".BR morvane\\-tcam (1),\n" );
}

}  // namespace

CLI::App & addManual( CLI::App & app, std::string & folder ) {
  CLI::App & command = *app.add_subcommand( "manual", "Write the manual pages" );
  command.group( "" );
  command.add_option( "FOLDER", folder, "" )->required();
  return command;
}

void writeManualPages( const CLI::App & app, const std::string & folder ) {
  const std::string file = folder + "/" + app.get_name();
  for ( const CLI::App * command : app.get_subcommands( {} ) )
    if ( isListed( *command ) )
      writeFile( file + "-" + command->get_name() + ".1", pageOf( app, *command ) );
  writeFile( file + ".1", pageOf( app ) );
}

}  // namespace Agent
