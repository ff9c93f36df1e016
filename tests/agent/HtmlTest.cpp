// The report as a web page: its parts, and what a browser makes of it.
#include <gmock/gmock.h>

#include <regex>

#include "tests/agent/CommandRunner.h"

namespace Agent {

namespace {

using HtmlTest = CommandRunner;
using testing::AllOf;
using testing::HasSubstr;
using testing::Not;

// A list that fits, and one that does not, with names that need escapes.
std::string arguments( const std::string & folder ) {
  std::ofstream( folder + "/web.json" ) << R"({ "rules": [
    { "name": "<b>one", "protocol": "tcp", "destinationPorts": "1-9" },
    { "name": "two", "protocol": "udp", "actions": [ "drop" ] },
    { "name": "rest", "protocol": [ 1, 2 ] } ] })";
  std::ofstream big( folder + "/big.acl" );
  for ( int i = 0; i < 40; ++i )
    big << "@10.0.0." << i << "/32 0.0.0.0/0 1 : 65534 1 : 65534 0x06/0xFF\n";
  big.close();
  return "run --platform small --ports expand --random 900 --acl 'a&b'=" + folder +
         "/web.json --acl " + folder + "/big.acl --html " + folder + "/r.html";
}

// The packets of the rules' rows, and the first row's match.
std::string rowsOf( const std::string & page ) {
  const std::string part = page.substr( page.find( "<h2>Rules and their hits" ) );
  const std::regex row( R"re(<tr><td>[^<]*</td><td[^>]*>([0-9])</td>)re" );
  std::string rules;
  for ( std::sregex_iterator it( part.begin(), part.end(), row ), end; it != end; ++it )
    rules += ( *it )[ 1 ];
  return rules;
}

constexpr const char * browsers[] = { "chromium", "chromium-browser", "google-chrome" };

std::string browser() {
  for ( const std::string name : browsers )
    if ( std::system( ( "command -v " + name + " > /dev/null 2>&1" ).c_str() ) == 0 )
      return name;
  return "";
}

TEST_F( HtmlTest, PageIsWholeAndNeedsNoNetwork ) {
  const Outcome outcome = run( arguments( folder_ ) );
  EXPECT_EQ( outcome.status, 1 ) << outcome.error;
  EXPECT_THAT( outcome.out, HasSubstr( "Busiest rules" ) );
  const std::string page = read( "r.html" );
  EXPECT_THAT(
      page,
      AllOf( testing::StartsWith( "<!DOCTYPE html>\n" ), testing::EndsWith( "</html>\n" ),
             HasSubstr( "<td>a&amp;b</td><td class=\"page-count\">3</td>" ),
             HasSubstr( "<td class=\"page-bad\">no: slices ran out at rule " ),
             HasSubstr( "&lt;b&gt;one: tcp any &gt; any:1-9" ),
             HasSubstr( "<p class=\"page-bad\">big: its first 5 rules fit, up to line 5</p>\n" ),
             HasSubstr( "<li>62 more slices of 512 rows and a share" ),
             HasSubstr( "<td>protocol: 2 values</td>" ), HasSubstr( ">IPv4 ACL: a&amp;b<" ) ) );
  EXPECT_THAT( page, AllOf( Not( HasSubstr( "<b>one" ) ), Not( HasSubstr( "<?xml" ) ),
                            Not( HasSubstr( "src=" ) ), Not( HasSubstr( "href" ) ),
                            Not( HasSubstr( "url(h" ) ), Not( HasSubstr( "@import" ) ) ) );
  EXPECT_EQ( rowsOf( page ), "123" );
  const Outcome refused = run( "run --html " + folder_ + "/none/r.html" );
  EXPECT_EQ( refused.status, 2 );
  EXPECT_THAT( refused.error, HasSubstr( "/none/r.html: cannot be written: " ) );
}

// Clicks on headings sort; the page follows the browser's wish for dark pages.
TEST_F( HtmlTest, BrowserSortsTables ) {
  const std::string program = browser();
  if ( program.empty() )
    GTEST_SKIP() << "no Chromium is installed";
  ASSERT_EQ( run( arguments( folder_ ) ).status, 1 );
  const std::string page = read( "r.html" );
  const auto shown = [ & ]( const std::string & script, const char * scheme ) {
    write( "clicked.html", page + "<script>" + script + R"(
      document.title = getComputedStyle( document.body ).backgroundColor;</script>)" );
    std::system(
        ( "timeout 60 " + program + " --headless --no-sandbox --disable-gpu --user-data-dir=" +
          folder_ + "/browser --blink-settings=preferredColorScheme=" + scheme +
          " --dump-dom file://" + folder_ + "/clicked.html > " + folder_ + "/dom 2> /dev/null" )
            .c_str() );
    return read( "dom" );
  };
  const std::string click =
      "var heads = document.querySelectorAll('section:nth-of-type(5) th'); heads[4].click();";
  const std::string up = shown( click, "1" );
  const std::string down = shown( click + "heads[4].click();", "0" );
  if ( up.empty() )
    GTEST_SKIP() << program << " does not start here";
  EXPECT_THAT( up, HasSubstr( "<title>rgb(255, 255, 255)</title>" ) );
  EXPECT_THAT( down, HasSubstr( "<title>rgb(22, 24, 28)</title>" ) );
  EXPECT_THAT( down, HasSubstr( "aria-sort=\"descending\"" ) );
  const std::string rules = rowsOf( up );
  EXPECT_EQ( std::string( rules.rbegin(), rules.rend() ), rowsOf( down ) );
  EXPECT_NE( rules, "123" );
}

}  // namespace
}  // namespace Agent
