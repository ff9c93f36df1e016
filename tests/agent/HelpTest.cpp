// What the command says of itself, and of words that it does not know.
#include <fmt/core.h>
#include <gmock/gmock.h>

#include "agent/text/Suggestion.h"
#include "tests/agent/CommandRunner.h"

namespace Agent {

namespace {

using HelpTest = CommandRunner;
using testing::AllOf;
using testing::HasSubstr;
using testing::MatchesRegex;

TEST_F( HelpTest, EveryCommandHasExamplesAndStatuses ) {
  EXPECT_THAT( run( "--version" ).out, MatchesRegex( "morvane-tcam [0-9]+\\.[0-9]+\\.[0-9]+\n" ) );
  for ( const std::string command : { "", "run", "inspect", "map", "count", "cost", "fit", "check",
                                      "diff", "compact", "explain", "platforms" } ) {
    const Outcome help = run( command + " --help" );
    EXPECT_EQ( help.status, 0 ) << command;
    EXPECT_THAT( help.out, AllOf( HasSubstr( "Examples:\n  morvane-tcam " + command ),
                                  HasSubstr( "Exit status:\n  0  success\n" ) ) );
  }
  const std::string defaults = run( "run --help" ).out;
  for ( const char * option :
        { "--ports TEXT:{checkers,expand,auto,best}=auto",
          "--default TEXT:{permit,drop,deny,none}=none", "--seed S=1",
          "--top N:UINT in [1 - 1000000]=10", "--format TEXT:{auto,classbench," } )
    EXPECT_THAT( defaults, HasSubstr( option ) );
}

TEST_F( HelpTest, MistypedWordsGetOneLineAndTheNearestName ) {
  const std::string capture =
      write( "none.pcap",
             std::string( "\xD4\xC3\xB2\xA1\2\0\4\0\0\0\0\0\0\0\0\0\xFF\xFF\0\0\1\0\0\0", 24 ) );
  const std::string empty = write( "empty", "" );
  const std::string written = write( "udp.json", R"({ "rules": [ { "protocol": "udp" } ] })" );
  const std::string comments = write( "comments", "# none\n\n ! yet\n" );
  const std::string none = write( "none.json", R"({ "rules": [] })" );
  const std::pair< std::string, std::string > cases[] = {
      { "rnu --acl x",
        "morvane-tcam: unknown command rnu; there are run, .*; did you mean run\\?" },
      { "walk", "morvane-tcam: unknown command walk; there are run, [^;]*" },
      { "run --pakets=x", "morvane-tcam run: unknown option --pakets; did you mean --packets\\?" },
      { "--vesion", "morvane-tcam: unknown option --vesion; did you mean --version\\?" },
      { "map --xyzzy", "morvane-tcam map: unknown option --xyzzy" },
      { "run 17", "morvane-tcam run: unexpected argument 17" },
      { "run --platform smal", "smal: neither a file .*; did you mean small\\?" },
      { "run --platform nosuch", "nosuch: neither a file nor .* small, shared, large" },
      { "run --format ruls", "morvane-tcam: --format: ruls is none of .*; did you mean rules\\?" },
      { "run --ports autp", "morvane-tcam: --ports: autp is none of .*; did you mean auto\\?" },
      { "run --bind campus-egde=1", ".* there is no list .*; did you mean campus-edge\\?" },
      { "run --police Campus-edge/1:1M", ".* no access list is .*; did you mean campus-edge\\?" },
      { "run --police 358:1M", "morvane-tcam: --police .*: campus-edge has the rules 1 to 357" },
      { "run --random 5 --json --filter x", "morvane-tcam: --filter is for the text report, .*" },
      { "run --filter x --acl " + written, "morvane-tcam: --filter needs --show detail, .*" },
      { "run --seed -1", "morvane-tcam: --seed: a whole number is expected, not -1" },
#ifdef MORVANE_PCAP
      { "run --packets " + capture, capture + ": there are no packets in this file" },
#endif
      { "completion tcsh", "morvane-tcam: SHELL: tcsh not in \\{bash,zsh,fish\\}" },
      { "run --acl " + empty, empty + ":1:1: the file is empty" },
      { "run --acl " + comments, comments + ":1:1: there are no rules, only comments" },
      { "run --acl " + none, none + ":1:12: none: there are no rules" },
      { "explain", "morvane-tcam: --packet is required" },
      { "explain --packet 10021", ".* the run has the packets 1 to 10020" },
      { "explain --packet \"in x ethertype arp\"",
        ".*--packet: in x: large has the ports 0 to .*" },
  };
  for ( const auto & [ arguments, error ] : cases ) {
    const Outcome outcome = run( arguments );
    EXPECT_EQ( outcome.status, 2 ) << arguments;
    EXPECT_EQ( outcome.out, "" ) << arguments;
    EXPECT_THAT( outcome.error, MatchesRegex( error + "\n" ) ) << arguments;
  }
}

TEST( SuggestionTest, FewEditsLeadToAName ) {
  const std::pair< const char *, const char * > cases[] = {
      { "rnu", "run" }, { "RUN", "run" }, { "un", "run" },          { "runn", "run" },
      { "r", "" },      { "xyz", "" },    { "expalin", "explain" }, { "xplan", "explain" },
      { "", "" },       { "map", "map" } };
  for ( const auto & [ wrong, name ] : cases )
    EXPECT_EQ( suggestion( wrong, { "run", "map", "explain", "inspect" } ),
               *name == '\0' ? "" : std::string( "; did you mean " ) + name + "?" )
        << wrong;
}

// The library's traces and log, where a person can see them.
TEST_F( HelpTest, ShowsTheLibrarysMessages ) {
  const auto list = [ & ]( int fields ) {
    std::string rules;
    for ( int i = 0; i < fields; ++i )
      rules +=
          fmt::format( R"({}{{ "udf": {{ "base": "l3Start", "offset": {}, "value": "0x1" }} }})",
                       i == 0 ? "" : ", ", i * 4 );
    return write( "taps.json",
                  R"({ "use": "mirror", "mirrorPort": 1, "rules": [ )" + rules + "] }" );
  };
  const std::string arguments = "run --platform small --acl " + list( 1 );
  EXPECT_EQ( run( arguments ).error, "" );
  const std::string all = run( arguments + " --trace SdkShim --trace ApiMorvane:9" ).error;
  EXPECT_THAT(
      all, AllOf( HasSubstr( "\nUnit: 0 setMirroringAclUdf group: 8 " ),
                  HasSubstr( " bcm_field_entry_install( " ), HasSubstr( "\nfp entry create " ) ) );
  const std::string few = run( arguments + " --trace ApiMorvane:0" ).error;
  EXPECT_THAT( few, testing::Not( HasSubstr( "fp entry create" ) ) );
  const std::string ring = folder_ + "/ring";
  EXPECT_EQ( run( arguments + " --trace-ring " + ring ).error, "" );
  EXPECT_THAT( read( "ring" ), HasSubstr( "\nfp entry create " ) );
  // A chip with fewer chunks than fields.
  std::ifstream in( MORVANE_EXAMPLES "/../platform/data/small.json" );
  std::string platform( std::istreambuf_iterator< char >( in ), {} );
  platform.replace( platform.find( "\"dataChunks\": 8" ), 15, "\"dataChunks\": 5" );
  EXPECT_EQ( run( "run --acl " + list( 6 ) + " --platform " + write( "few.json", platform ) ).error,
             "log, error: MORVANE_UDF_HW_RESOURCE_FULL: Hardware resources insufficient to program "
             "UDF. Reconfigure other ACLs or features that use UDF to free up UDF hardware "
             "resources.\n" );
}

}  // namespace
}  // namespace Agent
