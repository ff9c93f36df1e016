// The command: exit status, standard output and standard error.
#include <gmock/gmock.h>

#include <nlohmann/json.hpp>
#include <regex>

#include "tests/agent/CommandRunner.h"

namespace {

using CommandTest = Agent::CommandRunner;
using Agent::Outcome;
using testing::HasSubstr;
using testing::MatchesRegex;
using testing::StartsWith;

TEST_F( CommandTest, RunsTheExampleWithoutArguments ) {
  const Outcome outcome = run( "" );
  EXPECT_EQ( outcome.status, 0 ) << outcome.error;
  EXPECT_THAT( outcome.out, HasSubstr( "campus-edge" ) );
  EXPECT_THAT( outcome.out, HasSubstr( "Busiest rules" ) );
  EXPECT_EQ( run( "run --platform shared --verify --show detail" ).status, 0 );
  EXPECT_THAT( run( "platforms" ).out, HasSubstr( "large" ) );
  const Outcome tap = run( "run --random 100 --verify --acl " +
                           write( "tap.json", R"({ "type": "ipv6", "use": "mirror",
                                  "mirrorPort": 5, "rules": [ { "protocol": "udp" } ] })" ) );
  EXPECT_EQ( tap.status, 0 ) << tap.error;
  EXPECT_THAT( tap.out, HasSubstr( "\n  mirrored: " ) );
}

#ifdef MORVANE_PCAP  // the 32-bit build has no sets of packets
TEST_F( CommandTest, MeaningOfLists ) {
  const std::string web = write( "web.cfg", R"(ip access-list extended web
 permit tcp any any eq 80
 permit tcp any any eq 81
 permit udp any any eq 53
)" );
  const std::string more =
      write( "more.json", R"({ "default": "drop", "laterFragments": "permittedByL3", "rules": [
    { "protocol": "udp", "destinationPorts": 53 },
    { "protocol": "tcp", "destinationPorts": "80-82" } ] })" );
  EXPECT_EQ( run( "check " + more ).status, 0 );
  EXPECT_EQ( run( "check " + web ).status, 1 );
  const Outcome compact = run( "compact " + web + " --output " + folder_ + "/less.json" );
  EXPECT_EQ( compact.status, 0 ) << compact.error;
  EXPECT_EQ( compact.out,
             "web (ipv4): 5 entries for 2 rules, before 7 entries for 3 rules\n"
             "  rules 1, 2 became rule 1: tcp any > any:80-81 permit\n" );
  const Outcome same = run( "diff " + web + " " + folder_ + "/less.json" );
  EXPECT_EQ( same.status, 0 ) << same.error;
  EXPECT_EQ( same.out, "ipv4 filter lists: both mean the same\n" );
  const Outcome cleared = run( "diff " + web + " " + write( "none.cfg", "! no lists\n" ) );
  EXPECT_EQ( cleared.status, 1 ) << cleared.error;
  EXPECT_THAT( cleared.out, HasSubstr( "    new: " ) );
  const Outcome different = run( "diff --json " + web + " " + more );
  EXPECT_EQ( different.status, 1 ) << different.error;
  const auto rows =
      nlohmann::json::parse( different.out, nullptr, false )[ "tables" ][ 0 ][ "rows" ];
  ASSERT_EQ( rows.size(), 1U ) << different.out;
  EXPECT_EQ( rows[ 0 ][ "old" ], "drop" );
  EXPECT_EQ( rows[ 0 ][ "newRule" ], "rule 2 of more" );
  EXPECT_EQ( rows[ 0 ][ "chip" ], "old drops it; new lets it pass" );
  const Outcome udf = run( "check " + std::string( MORVANE_EXAMPLES ) + "/vxlan-flows.json" );
  EXPECT_EQ( udf.status, 2 );
  EXPECT_THAT( udf.error, HasSubstr( "user-defined fields cannot be compared" ) );
  EXPECT_EQ( run( "compact --output " + folder_ + "/two.json " + web + " " + more ).status, 2 );
}
#endif

TEST_F( CommandTest, ShowsTheLibraryReports ) {
  const std::string acl =
      write( "one.acl", "@10.0.0.0/8\t0.0.0.0/0\t0 : 65535\t0 : 65535\t0x00/0x00\n" );
  const std::string base = "run --platform small --acl " + acl + " --show ";
  EXPECT_THAT(
      run( base + "summary" ).out,
      HasSubstr( "=== TCAM summary for switch small ===\nTCAM group 3 uses 1 entry and can "
                 "use up to " ) );
  const std::string detail = run( base + "detail" ).out;
  EXPECT_THAT( detail, HasSubstr( " hits - " ) );
  EXPECT_THAT( run( base + "raw" ).out,
               HasSubstr( "|Stage                                    IFP |\n" ) );
  EXPECT_THAT( run( base + "banks" ).out, HasSubstr( " Banks           Used By\n" ) );
  EXPECT_THAT( run( base + "capacity --threshold IFP:1" ).out,
               HasSubstr( "\n  alarm raised: unit 0 IFP, 1 % used, 64 of 5,120 (upper 1 %)\n" ) );
  const size_t line = detail.rfind( '\n', detail.find( " hits - " ) ) + 1;
  const std::string entry = std::to_string( std::stoul( detail.substr( line ) ) );
  EXPECT_THAT( run( base + "entry:" + entry ).out,
               HasSubstr( "match SrcIp 0xa000000/0xff000000" ) );
  const std::string dump = "run --acl " + acl + " --show ";
  EXPECT_THAT( run( dump + "entry-dump:" + entry ).out,
               HasSubstr( "\nentry 0x7030000 of group 0x7000003, " ) );
  EXPECT_THAT( run( dump + "group-dump:3" ).out, HasSubstr( "\ngroup 0x7000003 in IFP3b, " ) );
  for ( const char * wrong : { "entry:", "entry:0xz", "entry:1x", "all", "entry:77",
                               "entry-dump:77", "group-dump:77", "group-dump:IFP" } ) {
    const Outcome refused = run( base + wrong );
    EXPECT_EQ( refused.status, 2 ) << wrong;
    EXPECT_THAT( refused.error, HasSubstr( "morvane-tcam: --show: " ) );
  }
}

TEST_F( CommandTest, StatusIs1IfAListDoesNotFit ) {
  const std::string rule = "@0.0.0.0/32 0.0.0.0/0 1 : 65534 1 : 65534 0x11/0xFF\n";
  const std::string acl = write( "wide", rule + rule + rule + rule + rule + rule );
  const Outcome outcome = run( "run --platform small --ports expand --acl big=" + acl + " --json" );
  EXPECT_EQ( outcome.status, 1 );
  const auto report = nlohmann::json::parse( outcome.out );
  EXPECT_EQ( report[ "acls" ][ 0 ][ "name" ], "big" );
  EXPECT_EQ( report[ "acls" ][ 0 ][ "firstRuleThatDoesNotFit" ][ "rule" ], 6 );
  const Outcome seen =
      run( "inspect --platform small --ports expand --acl big=" + acl + " groupManager/numPipe" );
  EXPECT_EQ( seen.status, 1 );
  EXPECT_EQ( seen.out, "1\n" );
  EXPECT_THAT( seen.error, MatchesRegex( "big does not fit: [^\n]* at rule 6 [^\n]*\n" ) );
}

TEST_F( CommandTest, InspectShowsAndSetsTheStateOfARun ) {
  const std::string acl = write( "one", "@1.2.3.4/32 0.0.0.0/0 0 : 65535 0 : 65535 0x00/0x00\n" );
  const std::string inspect = "inspect --platform small --acl " + acl + " --json ";
  const std::string where = "'groupManager/entryManager[ipAclTcamGroup]/internalUnitEntry[0]/";
  const Outcome used = run( inspect + where + "entryCreated'" );
  EXPECT_EQ( nlohmann::json::parse( used.out ).size(), 1U ) << used.error;
  const std::string set = where + "multicastWarEntry";
  EXPECT_EQ( run( inspect + "--set " + set + "=5' " + set + "'" ).out, "5\n" );
}

TEST_F( CommandTest, PartialRunsWithoutRefusedRules ) {
  const std::string acl = " --platform small --acl " + write( "l.json", R"({ "rules": [
    { "source": "10.0.0.1/8" },
    { "name": "web", "protocol": "tcp", "destinationPorts": 80 },
    { "name": "odd", "color": 1 } ] })" );
  const Outcome refused = run( "run" + acl );
  EXPECT_EQ( refused.status, 2 );
  EXPECT_EQ( refused.out, "" );
  EXPECT_THAT( refused.error,
               MatchesRegex( "[^\n]*:2:17: l, rule 1: [^\n]*\n"
                             "[^\n]*:4:31: l, odd: [^\n]*\"color\"; it can have [^\n]*\n" ) );
  for ( const std::string command : { "run", "map", "inspect" } ) {
    const Outcome partial = run( command + acl + " --partial" );
    EXPECT_EQ( partial.status, 1 ) << command;
    EXPECT_THAT( partial.out, StartsWith( "PARTIAL: refused rules and lists are left out: 2\n" ) )
        << command;
    EXPECT_EQ( partial.error.substr( 0, refused.error.size() ), refused.error ) << command;
  }
  for ( const std::string command : { "run", "inspect" } )
    EXPECT_THAT( run( command + " --json --partial" + acl ).out,
                 StartsWith( "{\n  \"partial\": {\n    \"refused\": 2," ) );
}

// A list without the rules that it had is one of its default action; a file without lists is none.
TEST_F( CommandTest, PartialKeepsListsWhoseRulesAreAllRefused ) {
  const std::string loader = R"({ "acl": { "acl-sets": { "acl-set": { "a": { "acl-entries": {
    "acl-entry": { "1": { "config": { "sequence-id": 1 }, "color": { "red": 1 } } } } } } } } })";
  const std::string document = R"({ "ietf-access-control-list:acls": { "acl": [ { "name": "a",
    "type": "TYPE", "aces": { "ace": [ { "name": "r", "color": 1 } ] } } ] } })";
  const std::string table = R"({ "ACL_TABLE": { "a": { "type": "L3V6", "stage": "INGRESS" } },
    "ACL_RULE": { "a|r": { "PRIORITY": "1", "COLOR": "1" } } })";
  const std::regex type( "TYPE" );
  const struct {
    std::string text, lists;
  } cases[] = {
      { R"({ "rules": [ { "color": 1 } ] })", "l none" },
      { "@1.2.3.4/8\n", "l none" },
      { "ip access-list extended a\n permit blue any any\n", "a drop" },
      { "*filter\n:INPUT ACCEPT [0:0]\n-A INPUT --blue\nCOMMIT\n", "INPUT permit" },
      { loader, "A-ipv4 drop, A-ipv6 drop" },
      { std::regex_replace( document, type, "ipv6-acl-type" ), "a none" },
      { std::regex_replace( document, type, "ipv8-acl-type" ), "" },
      { table, "a none" },
  };
  for ( const auto & c : cases ) {
    const std::string arguments = " --partial --random 40 --verify --acl " + write( "l", c.text );
    const Outcome partial = run( "run --json" + arguments );
    EXPECT_EQ( partial.status, c.lists.empty() ? 2 : 1 ) << c.text << partial.error;
    if ( partial.status == 2 )
      continue;
    const auto report = nlohmann::json::parse( partial.out, nullptr, false );
    std::string lists;
    for ( const auto & acl : report[ "acls" ] )
      lists += ( lists.empty() ? "" : ", " ) + acl.value( "name", "" ) + " " +
               acl.value( "default", "" );
    EXPECT_EQ( lists, c.lists ) << c.text;
    EXPECT_EQ( report[ "partial" ][ "refused" ], 1 ) << c.text;
    EXPECT_EQ( report[ "packets" ][ "mismatches" ], 0 ) << c.text;
    EXPECT_THAT( run( "run" + arguments ).out, StartsWith( "PARTIAL: " ) ) << c.text;
  }
}

TEST_F( CommandTest, InvalidInputGivesOneLineAndStatus2 ) {
  const std::string good = write( "good", "@1.2.3.4/32 0.0.0.0/0 0 : 65535 0 : 65535 0x00/0x00\n" );
  const std::string bad = write( "bad", "\n@1.2.3.4/32 0.0.0.0/0 0 : 65535 0 : 65535 0x00\n" );
  const std::string platform = write( "platform.json", "{\n\n\"nam\": \"x\" }\n" );
  const std::string mirror =
      write( "mirror.json", R"({ "use": "mirror", "mirrorPort": 48, "rules": [ {} ] })" );
  const std::string field = write( "flow.json", R"({ "use": "flowVxlan", "rules": [ { "udf":
             { "base": "l3Start", "offset": 7, "value": "0x0" } } ] })" );
  const std::string cut = write( "cut", "\xD4\xC3\xB2\xA1\x02" );
  const std::string binary = write( "binary", "\xD4\xC3\x02" );
  const std::string usage = "morvane-tcam: [^\n]*\n";
  const struct {
    std::string arguments, error;
  } cases[] = {
      { "run --acl " + bad, bad + ":2:43: bad, rule 1: [^\n]*\n" },
      { "run --acl " + good + " --packets " + bad, bad + ":2:1: [^\n]*\n" },
      { "run --acl /nonexistent/file", "/nonexistent/file: [^\n]*\n" },
      { "run --acl " + folder_, folder_ + ": [^\n]*\n" },
      { "run --platform " + platform, platform + ":1:1: [^\n]*\n" },
      { "run --acl " + good + " --acl " + good, usage },
      { "run --acl =" + good, usage },
      { "run --ingress-port 48 --platform small", usage },
      { "run --random -1", usage },
      { "run --default forbid", usage },
      { "run --pps 0", usage },
      { "run --police 1:1M:x", usage },
      { "run --clear user:nobody", usage },
      { "run --clear entry:77", usage },
      { "run --clear group:0x4000003 --platform small", usage },
      { "run --clear units", usage },
      { "run --threshold 1/IFP:90", usage },
      { "run --threshold EXT:90", "[^\n]* no stage EXT, only VFP, IFP, EFP\n" },
      { "run --threshold IFP:101", usage },
      { "run --threshold IFP:80:81", "[^\n]* CLEAR 81 is above UPPER 80\n" },
      { "run --platform small --acl " + mirror, mirror + ":1: mirror port 48[^\n]*\n" },
      { "run --acl " + field, field + ":1:[0-9]+: flow: the group of use flowVxlan has no field "
                                      "at offset 7 of the L3 header; "
                                      "with flowProtocol 17 it has 42, 46, 50, 58, 62\n" },
      { "run --acl " + good + " --packets " + cut, cut + ": [^\n]*\n" },
      { "run --acl " + cut, cut + ": a packet capture; give it with --packets\n" },
      { "run --packets " + binary, binary + ": neither a capture [^\n]* nor a trace[^\n]*\n" },
      { "inspect groupManager/numPipes", usage },
      { "inspect --set groupManager/numPipe=two", usage },
  };
  for ( const auto & c : cases ) {
    const Outcome outcome = run( c.arguments );
    EXPECT_EQ( outcome.status, 2 ) << c.arguments;
    EXPECT_EQ( outcome.out, "" ) << c.arguments;
    EXPECT_THAT( outcome.error, MatchesRegex( c.error ) ) << c.arguments;
  }
}

TEST_F( CommandTest, MapDrawsSlicesToAFile ) {
  const Outcome plain = run( "map --platform small" );
  EXPECT_EQ( plain.status, 0 );
  EXPECT_THAT( plain.out, HasSubstr( "IPv4 ACL" ) );
  EXPECT_EQ( plain.out.find( '\033' ), std::string::npos );
  EXPECT_NE( run( "map --platform small --color always" ).out.find( '\033' ), std::string::npos );
  const auto slices = nlohmann::json::parse( run( "map --platform small --json" ).out );
  EXPECT_EQ( slices[ "tables" ].size(), 3U );

  // Names the list that does not fit and draws the rest; the file is replaced atomically.
  std::string rules;
  for ( int i = 0; i < 600; ++i )
    rules += "@10.0." + std::to_string( i / 256 ) + "." + std::to_string( i % 256 ) +
             "/32\t0.0.0.0/0\t0 : 65535\t1 : 65535\t0x06/0xFF\n";
  const std::string svg = write( "map.svg", std::string( 100'000, 'x' ) );
  const Outcome unfit = run( "map --platform small --ports expand --acl " +
                             write( "big.acl", rules ) + " --svg " + svg );
  EXPECT_EQ( unfit.status, 1 );
  EXPECT_THAT( unfit.error,
               MatchesRegex( "big does not fit: .* ran out at rule .*rolled back\n" ) );
  EXPECT_EQ( unfit.out, "" );
  EXPECT_THAT( read( "map.svg" ), testing::StartsWith( "<?xml" ) );
  EXPECT_THAT( read( "map.svg" ), testing::EndsWith( "</svg>\n" ) );
  EXPECT_THAT( read( "map.svg" ), HasSubstr( "big does not fit" ) );

  const std::vector< std::string > unwritable = { folder_ + "/none/map.svg", folder_, "/dev/full" };
  for ( const std::string & file : unwritable ) {
    const Outcome refused = run( "map --platform small --svg " + file );
    EXPECT_EQ( refused.status, 2 );
    EXPECT_THAT( refused.error, MatchesRegex( file + ": cannot be written: [^\n]*\n" ) );
  }
  EXPECT_THAT( run( "platforms", "/dev/full" ).error, MatchesRegex( "standard output: [^\n]*\n" ) );
  for ( const auto & left : std::filesystem::directory_iterator( folder_ ) )
    EXPECT_NE( left.path().extension(), ".tmp" );
}

// A list that no share holds is refused while it is read, unless it is only counted.
TEST_F( CommandTest, CountsListsOfAnyLength ) {
  std::string rules = "ip access-list extended long\n permit tcp any any range 1 65535\n";
  for ( int i = 0; i < 9000; ++i )
    rules += " permit ip host 10.0." + std::to_string( i / 256 ) + "." + std::to_string( i % 256 ) +
             " any\n";
  const std::string options = " --platform small --acl " + write( "long.cfg", rules );
  const Outcome refused = run( "run" + options );
  EXPECT_EQ( refused.status, 2 );
  EXPECT_THAT( refused.error,
               MatchesRegex( ".*long.cfg:8194:.*: long: more than 8192 rules: no share of "
                             "platform small holds more; \"morvane-tcam count\".*\n" ) );
  const Outcome counted = run( "count --json" + options );
  EXPECT_EQ( counted.status, 0 ) << counted.error;
  const auto list = nlohmann::json::parse( counted.out, nullptr, false )[ "lists" ][ 0 ];
  EXPECT_EQ( list[ "rules" ], 9001 );
  // One rule takes 16 prefixes or a checker and an entry for later fragments, and the default one.
  EXPECT_EQ( list[ "entries" ], 9000 + 16 + 1 + 1 );
  EXPECT_EQ( list[ "entriesWithCheckers" ], 9000 + 1 + 1 + 1 );
  EXPECT_EQ( list[ "ranges" ], 1 );
  const Outcome partial =
      run( "count --partial" + options + " --acl " +
           write( "bad.cfg", "ip access-list extended b\n permit ip any any\n permit x\n" ) );
  EXPECT_EQ( partial.status, 1 );
  EXPECT_THAT( partial.out, StartsWith( "PARTIAL" ) );
}

}  // namespace
