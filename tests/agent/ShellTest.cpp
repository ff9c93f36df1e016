// The shell: scripts, changes of a live switch and their undoing, completion, and the terminal.
#include <gmock/gmock.h>
#include <pty.h>
#include <sys/select.h>
#include <termios.h>
#include <unistd.h>

#include "agent/packets/PacketMaker.h"
#include "agent/packets/RandomPackets.h"
#include "agent/shell/LiveSwitch.h"
#include "agent/shell/RuleInWords.h"
#include "agent/shell/ShellCompletion.h"
#include "agent/shell/ShellError.h"
#include "agent/verify/Replay.h"
#include "agent/verify/audit/Auditor.h"
#include "kiv/Lock.h"
#include "tests/agent/CommandRunner.h"

namespace Agent {

namespace {

using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;
using testing::MatchesRegex;

constexpr const char * edgeText = R"({ "rules": [
  { "source": "10.0.0.0/8", "protocol": "tcp", "destinationPorts": "80-90", "actions": [ "drop" ] },
  { "source": "10.1.0.0/16", "police": { "rate": "8M", "burst": 125 } },
  { "protocol": "udp", "actions": [ "permit", "copyToCpu" ] } ] })";
constexpr const char * webText = "ip access-list extended web\n permit tcp any any eq 443\n";
constexpr const char * tapsText = R"({ "use": "mirror", "mirrorPort": 3, "rules": [
  { "udf": { "base": "l3Start", "offset": 12, "value": "0x0a000000", "mask": "0xff000000" } } ] })";

// Lists in a folder, and a switch that has some of them.
class ShellTest : public CommandRunner {
 protected:
  ShellTest() : activity_( Kiv::ActivityUnlockAnchor::lock() ) {
    options_.platform = "shared";
    options_.acls = { write( "edge", edgeText ), "taps=" + write( "taps.json", tapsText ) };
    write( "web", webText );
    std::string many = "ip access-list extended many\n";
    for ( int i = 0; i < 5000; ++i )
      many += " permit tcp any any range 1025 " + std::to_string( 2000 + i ) + "\n";
    write( "many", many );
  }

  LiveSwitch & live() {
    if ( !live_ ) {
      live_.emplace( options_ );
      EXPECT_THAT( live_->addFirstLists(), IsEmpty() );
      frames_ = randomFrames( live_->input().acls, 1, 400 );
      for ( U32 i = 0; i < 40; ++i )
        frames_.push_back( makeFrame( { 0x0A000000 + i * 0x00010001, 1, protocolTcp, 1, 443 } ) );
    }
    return *live_;
  }

  // What the switch does with packets, each the same as the lists mean. Buckets are full for each.
  std::vector< PacketFate > fates() {
    EXPECT_THAT( Audit::audit( live().session().groupManager(), live().session().chip() ),
                 IsEmpty() );
    Replay replay( live().session(), [ & ]( U32 id ) { return live().feature().ruleOf( id ); } );
    std::vector< PacketFate > fates;
    for ( const Frame & frame : frames_ ) {
      fates.push_back( replay.send( { frame, fates.size() * 1'000'000'000 }, { 4, 4 } ) );
      const FrameFields fields = readFrame( frame );
      EXPECT_EQ( fates.back(),
                 expectedFate( live().feature().policy(),
                               fieldsAtPort( live().input().platform, 4, fields ),
                               fieldsLeaving( 4, fields ),
                               []( const RuleIndex &, const PoliceRate & ) { return true; } ) );
    }
    return fates;
  }

  std::string addRule( U32 list, U32 index, const std::string & text ) {
    return live().addRule(
        list, index, ruleInWords( live().input().platform, live().input().acls[ list ], text ) );
  }

  const Kiv::LockGuard activity_;
  RunOptions options_;
  std::optional< LiveSwitch > live_;
  std::vector< Frame > frames_;
};

TEST_F( ShellTest, EveryChangeIsUndone ) {
  options_.defaultAction = Forwarding::drop;
  options_.binds = { "edge=2-9" };
  const std::string file = folder_ + "/web";
  const std::function< std::string() > changes[] = {
      [ & ] { return live().addLists( { file }, "taps", "" ); },
      [ & ] { return live().addLists( { "w=" + file }, {}, "4:out" ); },
      [ & ] { return live().removeList( "taps" ); },
      [ & ] { return addRule( 0, 0, "deny tcp any any" ); },
      [ & ] {
        return addRule( 0, 2, R"({ "source": "10.2.0.0/15", "actions": [ "copyToCpu" ] })" );
      },
      [ & ] { return live().removeRule( 0, 3 ); },
      [ & ] { return addRule( 0, 4, "permit ip 10.0.0.0 0.255.0.255 any" ); },
      [ & ] { return live().removeList( "edge" ); },
      [ & ] { return live().addLists( { "edge=" + folder_ + "/taps.json" }, "web", "" ); },
  };
  std::vector< std::vector< PacketFate > > before;
  for ( const auto & change : changes ) {
    before.push_back( fates() );
    EXPECT_THAT( change(), MatchesRegex( "[^\n]+; entries: [^\n]+ SDK calls\n" ) );
  }
  const std::vector< PacketFate > last = fates();
  EXPECT_NE( last, before.back() );
  size_t different = 0;
  for ( ; !before.empty(); before.pop_back() ) {
    const auto now = fates();
    EXPECT_THAT( live().undo(), testing::StartsWith( "undone: " ) );
    EXPECT_EQ( fates(), before.back() ) << before.size();
    different += now != before.back() ? 1 : 0;
  }
  EXPECT_GT( different, 6U );
  EXPECT_THROW( live().undo(), ShellError );
}

TEST_F( ShellTest, FailedChangeChangesNothing ) {
  options_.ports = PortMethod::checkers;
  const std::string web = folder_ + "/web";
  const struct {
    std::function< void() > change;
    const char * fault;
  } changes[] = {
      { [ & ] { live().addLists( { folder_ + "/many" }, "edge", "" ); },
        "no room: range checkers ran out at many rule .*; nothing is changed" },
      { [ & ] {
         live().addLists( { web, "edge=" + web }, {}, "" );
       },
        "there is a list edge already" },
      { [ & ] { live().addLists( { "w=" + web }, "taps", "99" ); }, ".* there is no port 99.*" },
      { [ & ] { live().addLists( { web }, "taps2", "" ); }, "there is no list taps2; .* taps.*" },
      { [ & ] { live().addLists( { folder_ + "/nothing" }, {}, "" ); }, ".*nothing: .*" },
      { [ & ] { addRule( 0, 0, "permit tcp any any eq ssl9" ); },
        "rule, column 23: there is no port \"ssl9\".*" },
      { [ & ] { addRule( 1, 0, "permit tcp any any" ); },
        ".* taps have the form of a rules file.*" },
      { [ & ] { addRule( 0, 0, R"({ "inPorts": "Ethernet999" })" ); },
        "rule, column 14: .* Ethernet999.*" },
      { [ & ] { addRule( 0, 0, R"({ "outPorts": 1 })" ); }, "list edge: .*" },
      { [ & ] { live().removeList( "edges" ); }, "there is no list edges; did you mean edge.*" },
  };
  const auto before = fates();
  const auto tables = [ & ] {
    std::vector< U32 > used;
    for ( const auto & table : live().session().chip().tables( SwitchSession::unit ) )
      used.insert( used.end(), { table.entries, table.freeSlices, table.freeStatistics } );
    return used;
  };
  const auto used = tables();
  for ( const auto & [ change, fault ] : changes ) {
    try {
      change();
      ADD_FAILURE() << fault;
    } catch ( const std::runtime_error & error ) {
      EXPECT_THAT( error.what(), MatchesRegex( fault ) );
    }
    EXPECT_EQ( fates(), before ) << fault;
    EXPECT_EQ( tables(), used );
  }
  EXPECT_THROW( live().undo(), ShellError );
}

TEST_F( ShellTest, CompletesWords ) {
  const struct {
    const char * line;
    std::vector< std::string > words;
  } cases[] = {
      { "ru", { "rule" } },
      { "list r", { "remove" } },
      { "list remove ", { "edge", "taps" } },
      { "list remove edge ", {} },
      { "rule add edge before 1 pe", { "permit" } },
      { "rule add edge { \"dest",
        { "\"destination\":", "\"destinationMac\":", "\"destinationPorts\":" } },
      { "show ba", { "banks" } },
      { "send --", { "--packets", "--random" } },
      { "send in 3 fl", { "flags" } },
      { "help list s", {} },
      { "counters clear us", { "user:" } },
      { "nothing ", {} },
  };
  for ( const auto & c : cases )
    EXPECT_EQ( completions( live(), c.line ).words, c.words ) << c.line;
  const std::string start = "list add web " + folder_ + "/t";
  EXPECT_THAT( completions( live(), start ).words, ElementsAre( folder_ + "/taps.json" ) );
  EXPECT_EQ( completions( live(), start ).from, 13U );
}

TEST_F( ShellTest, ScriptsNameTheLineThatFails ) {
  const std::string script =
      write( "script", "# lists\nlist add 'my web' " + folder_ +
                           "/web  # with a blank\nlist remove other\n"
                           "send tcp 10.0.0.1:1 > 10.0.0.2:443\n\nrule add \"my web deny\nundo\n"
                           "verify\nquit\nnothing\n" );
  const Outcome all = run( "shell --platform small --script " + script );
  EXPECT_EQ( all.status, 1 );
  EXPECT_EQ( all.error,
             script + ":3: there is no list other\n" + script + ":6: a quote does not end\n" );
  EXPECT_THAT( all.out, MatchesRegex( "my web added, 1 rules; [^\n]*\n"
                                      "forwarded\n  my web rule 1: .* packets: 1, bytes: 60\n"
                                      "undone: my web added, [^\n]*\n"
                                      "records and chip are the same\n" ) );
  const Outcome stopped = run( "shell --platform small --stop-on-error < " + script );
  EXPECT_EQ( stopped.status, 1 );
  EXPECT_EQ( stopped.error, "standard input:3: there is no list other\n" );
  EXPECT_EQ( run( "shell --stop-on-error --acl " + folder_ + "/web < /dev/null" ).status, 0 );
  EXPECT_EQ( run( "shell --script " + folder_ + "/none" ).status, 2 );
}

// Rules that a change does not concern keep their counters; one that is removed and comes back
// starts at zero. Reports count the rules as they are now.
TEST_F( ShellTest, CommandsShowTheSwitchAsItIs ) {
  const std::string script = write( "script", R"(list
send in 4 tcp 10.0.0.1:1 > 10.0.0.2:81
send udp 10.0.0.1 > 10.0.0.2
rule add edge before 1 { "name": "odd", "inPorts": "4", "protocol": "tcp", "sourcePorts": 7 }
send in 4 tcp 10.0.0.1:1 > 10.0.0.2:81
list show edge
rule remove edge 4
undo
list show edge
counters clear user:nobody
counters clear
list remove edge
list
send tcp 10.0.0.1 > 10.0.0.2
)" );
  const Outcome outcome =
      run( "shell --platform small --acl " + options_.acls[ 0 ] +
           " --bind edge=Ethernet4-5 --default permit --ports expand < " + script );
  EXPECT_EQ( outcome.error, "standard input:10: clear user:nobody: small has no user nobody\n" );
  const size_t head = outcome.out.find( "dropped" );
  EXPECT_THAT( outcome.out.substr( 0, head ),
               HasSubstr( "edge      3        5  ipv4  filter  in 4-5  none " ) );
  EXPECT_EQ( outcome.out.substr( head ), R"(dropped
  edge rule 1: tcp 10.0.0.0/8 > any:80-90 in 4-5 drop; packets: 1, bytes: 60
forwarded, copied to the CPU
  edge rule 3: udp in 4-5 permit copyToCpu; packets: 1, bytes: 60
edge rule 1 added; entries: 1 installed, 0 released, 6 moved; 17 SDK calls
dropped
  edge rule 2: tcp 10.0.0.0/8 > any:80-90 in 4-5 drop; packets: 2, bytes: 120
  rule  line  entries  packets  bytes  action            match
  ----  ----  -------  -------  -----  ----------------  ---------------------------------
     1              1        0      0  permit            odd: tcp any:7 > any in 4
     2     2        3        2    120  drop              tcp 10.0.0.0/8 > any:80-90 in 4-5
     3     3        1        0      0  permit            10.1.0.0/16 > any in 4-5
     4     4        1        1     60  permit copyToCpu  udp in 4-5
edge rule 4 removed; entries: 0 installed, 1 released, 0 moved; 5 SDK calls
undone: edge rule 4 removed; entries: 1 installed, 0 released, 0 moved; 10 SDK calls
  rule  line  entries  packets  bytes  action            match
  ----  ----  -------  -------  -----  ----------------  ---------------------------------
     1              1        0      0  permit            odd: tcp any:7 > any in 4
     2     2        3        2    120  drop              tcp 10.0.0.0/8 > any:80-90 in 4-5
     3     3        1        0      0  permit            10.1.0.0/16 > any in 4-5
     4     4        1        0      0  permit copyToCpu  udp in 4-5
counters cleared: all
edge removed; entries: 0 installed, 6 released, 0 moved; 31 SDK calls
there are no lists
forwarded: no rule matches
)" );
}

// Each list of the command line by itself, so that one without room does not keep others out.
TEST_F( ShellTest, StartsWithTheListsThatFit ) {
  const std::string lists = " --acl " + folder_ + "/web --acl " + folder_ + "/many --acl " +
                            options_.acls[ 0 ] + " --ports checkers";
  const Outcome outcome = run( "shell" + lists + " < " + write( "script", "list show edge\n" ) );
  EXPECT_EQ( outcome.status, 1 );
  EXPECT_THAT( outcome.error, MatchesRegex( "no room: range checkers .* many rule [^\n]*\n" ) );
  EXPECT_THAT( outcome.out, HasSubstr( "10.1.0.0/16" ) );
  EXPECT_EQ( run( "shell --stop-on-error" + lists + " < " + folder_ + "/script" ).out, "" );
  const std::string bad = write( "bad", "ip access-list extended b\n permit blue any any\n" );
  const Outcome refused = run( "shell --acl " + bad + " < /dev/null" );
  EXPECT_EQ( refused.status, 2 );
  EXPECT_THAT( run( "shell --partial --acl " + bad + " < /dev/null" ).error, refused.error );
}

// As the command does, while the switch stays as it is; its record has the switch's calls only.
TEST_F( ShellTest, FitIsThatOfAnEmptySwitch ) {
  const std::string web = folder_ + "/web";
  const std::string change = "list:web*1000";
  const Outcome shell =
      run( "shell --platform small --record " + folder_ + "/rec < " +
           write( "script", "load " + web + "\nfit\nfit " + change + "\nfit rows=1\nverify\n" ) );
  const auto fit = [ & ]( const std::string & options ) {
    return run( "fit --platform small " + web + options ).out;
  };
  const std::string same = "records and chip are the same\n";
  EXPECT_EQ( shell.out.substr( shell.out.find( '\n' ) + 1 ),
             fit( "" ) + fit( " --what-if '" + change + "'" ) + same );
  EXPECT_THAT( shell.error, MatchesRegex( "standard input:4: rows=1: .*\n" ) );
  const Outcome replay = run( "replay " + folder_ + "/rec" );
  EXPECT_EQ( replay.status, 0 ) << replay.out << replay.error;
}

// A shell at a terminal of its own.
class ShellTerminal {
 public:
  explicit ShellTerminal( const std::string & folder ) {
    pid_ = forkpty( &fd_, nullptr, nullptr, nullptr );
    if ( pid_ != 0 )
      return;
    setenv( "XDG_STATE_HOME", folder.c_str(), 1 );
    setenv( "TERM", "xterm", 1 );
    execl( MORVANE_TCAM, MORVANE_TCAM, "shell", "--platform", "small", nullptr );
    _exit( 127 );
  }
  ~ShellTerminal() {
    if ( fd_ >= 0 )
      close( fd_ );
    if ( pid_ > 0 )
      waitpid( pid_, nullptr, 0 );
  }

  // What the terminal shows from now until `text`, or nothing if that does not come.
  std::string until( const std::string & text ) {
    size_t at = std::string::npos;
    while ( ( at = shown_.find( text ) ) == std::string::npos && readMore() ) {
    }
    const std::string until = at == std::string::npos ? "" : shown_.substr( 0, at + text.size() );
    shown_.erase( 0, until.size() );
    EXPECT_NE( until, "" ) << "no " << text << " in " << shown_;
    return until;
  }
  // The prompt is shown before the editor takes the keys; until then they are the terminal's own.
  void type( const std::string & keys ) {
    termios mode = {};
    for ( int i = 0; i < 20000 && tcgetattr( fd_, &mode ) == 0 && ( mode.c_lflag & ICANON ) != 0;
          ++i )
      usleep( 1000 );
    EXPECT_EQ( ::write( fd_, keys.data(), keys.size() ), static_cast< ssize_t >( keys.size() ) );
  }
  // Types at the prompt, which is back after `text` is shown.
  void type( const std::string & keys, const std::string & text ) {
    type( keys );
    until( text );
    until( "morvane> " );
  }
  int status() {
    while ( readMore() ) {
    }
    close( std::exchange( fd_, -1 ) );  // ends a shell that did not
    int status = -1;
    waitpid( std::exchange( pid_, 0 ), &status, 0 );
    return WIFEXITED( status ) ? WEXITSTATUS( status ) : -1;
  }

 private:
  bool readMore() {
    fd_set files;
    FD_ZERO( &files );
    FD_SET( fd_, &files );
    timeval patience = { 20, 0 };
    char piece[ 512 ];
    if ( select( fd_ + 1, &files, nullptr, nullptr, &patience ) != 1 )
      return false;
    const ssize_t size = ::read( fd_, piece, sizeof piece );
    shown_.append( piece, size > 0 ? static_cast< size_t >( size ) : 0 );
    return size > 0;
  }

  pid_t pid_ = 0;
  int fd_ = -1;
  std::string shown_;
};

TEST_F( ShellTest, TerminalEditsCompletesAndRemembers ) {
#ifndef MORVANE_EDIT
  GTEST_SKIP() << "built without libedit";
#endif
  {
    ShellTerminal terminal( folder_ );
    terminal.until( "morvane> " );
    terminal.type( "lis\ta\tweb " + folder_ + "/we\t\r", "web added, 1 rules" );
    terminal.type( "list sh\t\t\r", "permit  tcp any > any:443" );
    terminal.type( "show \t", "summary" );               // the views, and the line again
    terminal.type( "\x03", "\n" );                       // drops it
    terminal.type( "nothing\r", "no command nothing" );  // and ends nothing
    terminal.type( "\x1b[A\x1b[A\r", "permit  tcp any > any:443" );  // the command before the last
    terminal.type( "\x04" );
    EXPECT_EQ( terminal.status(), 0 );
  }
  ShellTerminal next( folder_ );
  next.until( "morvane> " );
  next.type( "\x1b[A\r", "there is no list web" );
  next.type( "quit\r" );
  EXPECT_EQ( next.status(), 0 );
  EXPECT_THAT( read( "morvane-tcam/history" ), HasSubstr( "nothing" ) );
}

}  // namespace

}  // namespace Agent
