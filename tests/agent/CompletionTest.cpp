// What shells offer where a person asks for completion, with the scripts that the commands write.
#include <fmt/format.h>
#include <gtest/gtest.h>

#include <set>
#include <sstream>

#include "tests/agent/CommandRunner.h"

namespace Agent {

namespace {

struct Typed {
  std::string program;
  std::string words;
  std::set< std::string > offered;
};

class CompletionTest : public CommandRunner, public testing::WithParamInterface< std::string > {
 protected:
  // What the shell offers for the last word, by complete/complete.SHELL.
  std::set< std::string > offered( const Typed & asked ) {
    std::filesystem::remove( folder_ + "/offered" );
    const std::string line = fmt::format(
        "cd {0} && {1}/{2} completion {3} > {2} && timeout 60 {3} {4}/complete.{3} {0} {2} '{5}' "
        "> out",
        folder_, std::filesystem::path( MORVANE_TCAM ).parent_path().string(), asked.program,
        GetParam(), MORVANE_COMPLETE, asked.words );
    EXPECT_EQ( std::system( line.c_str() ), 0 ) << line;
    std::istringstream lines( read( "out" ) );
    std::set< std::string > words;
    for ( std::string word; lines >> word; )
      words.insert( word );
    return words;
  }
};

TEST_P( CompletionTest, OffersCommandsOptionsAndValues ) {
  if ( std::system( ( "command -v " + GetParam() + " > /dev/null" ).c_str() ) != 0 )
    GTEST_SKIP() << GetParam() << " is not installed";
  const Typed cases[] = {
      { "morvane-tcam", "co", { "count", "cost", "compact" } },
      { "morvane-tcam", "--v", { "--version" } },
      { "morvane-tcam", "run --verify --ac", { "--acl" } },
      { "morvane-tcam", "map --s", { "--svg", "--syslog" } },
      { "morvane-tcam", "fit edge.acl --platform s", { "small", "shared" } },
      { "morvane-tcam", "run --ports=e", { "expand" } },
      // Not the options of a command whose name is a file's.
      { "morvane-tcam", "run --acl map --ports e", { "expand" } },
      { "morvane-tcam", "run --acl map --s", { "--sdk", "--seed", "--show", "--syslog" } },
      { "morvane-tcam", "fit --svg --s", {} },
      { "morvane-sdk-check", "policer", { "policer-pipes", "policer-states", "policer-values" } },
      { "morvane-sdk-check", "copy --li", { "--limit", "--list" } },
      { "morvane-sdk-check", "--chip p", { "pipes" } },
  };
  for ( const Typed & asked : cases )
    EXPECT_EQ( offered( asked ), asked.offered ) << asked.program << " " << asked.words;
}

INSTANTIATE_TEST_SUITE_P( Shells, CompletionTest, testing::Values( "bash", "zsh", "fish" ),
                          []( const auto & shell ) { return shell.param; } );

}  // namespace
}  // namespace Agent
