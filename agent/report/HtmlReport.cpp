#include <fmt/format.h>

#include <algorithm>

#include "agent/acl/RuleText.h"
#include "agent/report/FitReport.h"
#include "agent/text/TextTable.h"
#include "agent/text/XmlText.h"

namespace Agent {

namespace {

constexpr const char * pageStyle = R"(
:root { color-scheme: light dark; --ground: #fff; --ink: #1a1a1a; --pale: #5a5a5a; --line: #d4d4d4;
  --head: #f2f2f2; --good: #00661f; --bad: #b00020; }
@media (prefers-color-scheme: dark) { :root { --ground: #16181c; --ink: #e6e6e6; --pale: #a6a6a6;
  --line: #3a3d44; --head: #23262c; --good: #6cd38a; --bad: #ff8a95; } }
body { margin: 2em; background: var(--ground); color: var(--ink);
  font: 14px/1.45 Helvetica, Arial, "Liberation Sans", "DejaVu Sans", sans-serif; }
h1 { font-size: 1.5em; } h2 { font-size: 1.15em; margin-top: 2em; } p { color: var(--pale); }
.page-scroll { overflow: auto; max-height: 36em; width: fit-content; max-width: 100%; }
.page-wide { overflow-x: auto; } table { border-collapse: collapse; }
th, td { padding: .25em .7em; border-bottom: 1px solid var(--line); text-align: left;
  vertical-align: top; }
th { background: var(--head); white-space: nowrap; position: sticky; top: 0; } th[role] { cursor: pointer; }
th[aria-sort=ascending]::after { content: " \25B2"; }
th[aria-sort=descending]::after { content: " \25BC"; }
.page-count { text-align: right; white-space: nowrap; font-variant-numeric: tabular-nums; }
.page-match { font-family: monospace; } .page-good { color: var(--good); }
.page-bad { color: var(--bad); font-weight: bold; }
.page-map { background: #fff; border: 1px solid var(--line); display: inline-block; }
)";

// Numbers sort by their value, others as text; a second click reverses the order.
constexpr const char * pageScript = R"(
document.querySelectorAll("th").forEach(function (head) {
  head.setAttribute("role", "button");
  head.tabIndex = 0;
  function sort() {
    var table = head.closest("table"), column = head.cellIndex, body = table.tBodies[0];
    var down = head.getAttribute("aria-sort") === "ascending" ? -1 : 1;
    table.querySelectorAll("th").forEach(function (th) { th.removeAttribute("aria-sort"); });
    head.setAttribute("aria-sort", down === 1 ? "ascending" : "descending");
    function value(row) { return row.cells[column].textContent; }
    function number(text) { return parseFloat(text.replace(/,/g, "")); }
    Array.from(body.rows).sort(function (a, b) {
      var x = value(a), y = value(b);
      if (head.className === "page-count") {
        x = number(x); y = number(y);
        return down * ((isNaN(x) ? -1 : x) - (isNaN(y) ? -1 : y));
      }
      return down * x.localeCompare(y);
    }).forEach(function (row) { body.appendChild(row); });
  }
  head.addEventListener("click", sort);
  head.addEventListener("keydown", function (event) { if (event.key === "Enter") sort(); });
});
)";

// A cell of text, or markup with a class.
struct Cell {
  std::string text;
  const char * looks = "";
};

// A heading that starts with '>' is that of a column of numbers.
class HtmlTable {
 public:
  explicit HtmlTable( const std::vector< std::string > & headings );
  void add( const std::vector< Cell > & cells );
  std::string text() const { return text_ + "</tbody></table></div>\n"; }

 private:
  std::vector< bool > counts_;
  std::string text_ = "<div class=\"page-scroll\"><table><thead><tr>";
};

HtmlTable::HtmlTable( const std::vector< std::string > & headings ) {
  for ( const std::string & heading : headings ) {
    counts_.push_back( heading.starts_with( '>' ) );
    text_ +=
        fmt::format( "<th scope=\"col\"{}>{}</th>", counts_.back() ? " class=\"page-count\"" : "",
                     heading.substr( counts_.back() ? 1 : 0 ) );
  }
  text_ += "</tr></thead><tbody>\n";
}

void HtmlTable::add( const std::vector< Cell > & cells ) {
  text_ += "<tr>";
  for ( size_t i = 0; i < cells.size(); ++i ) {
    const std::string looks = counts_[ i ] ? "page-count" : cells[ i ].looks;
    text_ +=
        fmt::format( "<td{}>{}</td>", looks.empty() ? "" : fmt::format( " class=\"{}\"", looks ),
                     xmlEscaped( cells[ i ].text ) );
  }
  text_ += "</tr>\n";
}

std::string section( const std::string & title, const std::string & content ) {
  return fmt::format( "<section><h2>{}</h2>\n{}</section>\n", title, content );
}

std::string paragraph( const std::string & text ) {
  return fmt::format( "<p>{}</p>\n", xmlEscaped( text ) );
}

std::string verdictHtml( const RunReport & report ) {
  HtmlTable lists(
      { "list", ">rules", ">entries", ">installed", "fits", "ports", "default", "file" } );
  for ( const AclReport & acl : report.acls ) {
    const bool fits = !acl.shortage;
    lists.add( { { acl.name },
                 { countText( acl.rules.size() ) },
                 { countText( acl.entries ) },
                 { countText( acl.installed ) },
                 { fits ? "yes" : "no: " + shortageText( acl ), fits ? "page-good" : "page-bad" },
                 { portsText( acl ) + ( acl.direction == Direction::out ? ", out" : "" ) },
                 { forwardingName( acl.defaultAction ) },
                 { acl.file } } );
  }
  HtmlTable users( { "user", "lists", ">group", ">used", ">share", ">percent", ">available now" } );
  for ( const UserUse & user : report.users )
    users.add( { { user.name },
                 { namesText( user.lists ) },
                 { std::to_string( user.group ) },
                 { countText( user.used ) },
                 { user.share == 0 ? "-" : countText( user.share ) },
                 { percentText( user.used, user.share ) },
                 { countText( user.available ) } } );
  return section( "Access lists", lists.text() ) +
         section( "TCAM entries of the users, the same in every pipe and copy", users.text() );
}

// What is wrong with the lists that do not fit, and what the chip has.
std::string fitHtml( const FitReport & fit ) {
  std::string text;
  for ( const ListVerdict & list : fit.lists ) {
    if ( const std::string verdict = verdictText( list ); !verdict.empty() )
      text += fmt::format( "<p class=\"page-bad\">{}</p>\n", xmlEscaped( verdict ) );
    std::string remedies;
    for ( const std::string & remedy : list.remedies )
      remedies += fmt::format( "<li>{}</li>\n", xmlEscaped( remedy ) );
    if ( !remedies.empty() )
      text += "<p>Each of these would make it fit:</p>\n<ul>\n" + remedies + "</ul>\n";
  }
  HtmlTable table( { "resource", ">used", ">total", ">percent", "held by" } );
  for ( const ResourceUse & use : fit.resources )
    table.add( { { use.name },
                 { countText( use.used ) },
                 { countText( use.total ) },
                 { percentText( use.used, use.total ) },
                 { use.holders } } );
  return section( xmlEscaped( resourcesTitle( fit ) ), text + table.text() );
}

std::string costHtml( const RunReport & report ) {
  HtmlTable table( { "list", ">rule", ">line", ">entries", "because of" } );
  bool any = false;
  for ( const AclReport & acl : report.acls )
    for ( const RuleUse & use : acl.rules ) {
      if ( use.expansion.empty() )
        continue;
      any = true;
      table.add( { { acl.name },
                   { countText( use.rule + 1 ) },
                   { countText( use.line ) },
                   { countText( use.entries ) },
                   { use.expansion } } );
    }
  const std::string checkers = paragraph( fmt::format(
      "Range checkers: {} of {} in use.", report.rangeCheckers, report.rangeCheckersMax ) );
  return section( "Rules of several entries",
                  checkers + ( any ? table.text() : paragraph( "Every rule takes one entry." ) ) );
}

std::string packetsText( const RunReport & report ) {
  return fmt::format(
      "Packets: {}, of which {} matched a rule, {} met the default, {} were dropped, {} copied to "
      "the CPU, {} mirrored.",
      countText( report.total ), countText( report.matched ), countText( report.byDefault ),
      countText( report.dropped ), countText( report.copiedToCpu ), countText( report.mirrored ) );
}

std::string hitsHtml( const RunReport & report ) {
  HtmlTable table(
      { "list", ">rule", ">line", ">entries", ">packets", ">bytes", "action", "match" } );
  for ( const AclReport & acl : report.acls )
    for ( const RuleUse & use : acl.rules )
      if ( !acl.shortage )
        table.add( { { acl.name },
                     { countText( use.rule + 1 ) },
                     { countText( use.line ) },
                     { countText( use.entries ) },
                     { use.wanted.packets ? countText( use.counters.packets ) : "-" },
                     { use.wanted.bytes ? countText( use.counters.bytes ) : "-" },
                     { use.actions },
                     { use.match, "page-match" } } );
  return section( "Rules and their hits", paragraph( packetsText( report ) ) + table.text() );
}

// Without the declaration of XML.
std::string mapHtml( const RunReport & report ) {
  const size_t begin = report.map.find( "<svg" );
  return begin == std::string::npos
             ? ""
             : section( "TCAM slices", "<div class=\"page-wide\"><div class=\"page-map\">\n" +
                                           report.map.substr( begin ) + "</div></div>\n" );
}

std::string remarksHtml( const RunReport & report ) {
  std::string text;
  if ( const std::string partial = partialText( report.remarks ); !partial.empty() )
    text += fmt::format( "<p class=\"page-bad\">{}</p>\n",
                         xmlEscaped( partial.substr( 0, partial.size() - 1 ) ) );
  for ( const std::string & note : report.remarks.notes )
    text += paragraph( "Note: " + note );
  if ( report.verified )
    text += fmt::format(
        "<p class=\"{}\">Verification: {} packets differ from the rules; {} "
        "differences.</p>\n",
        report.differences.empty() ? "page-good" : "page-bad", countText( report.mismatches ),
        countText( report.differences.size() ) );
  return text;
}

}  // namespace

std::string htmlReport( const RunReport & report, const FitReport & fit ) {
  const std::string title = xmlEscaped( "TCAM report: " + report.platform );
  return fmt::format(
             "<!DOCTYPE html>\n<html lang=\"en\">\n<head>\n<meta charset=\"utf-8\">\n"
             "<meta name=\"viewport\" content=\"width=device-width\">\n<title>{0}</title>\n"
             "<style>{1}</style>\n</head>\n<body>\n<h1>{0}</h1>\n",
             title, pageStyle ) +
         paragraph( report.description ) + remarksHtml( report ) + verdictHtml( report ) +
         fitHtml( fit ) + costHtml( report ) + hitsHtml( report ) + mapHtml( report ) +
         fmt::format( "<script>{}</script>\n</body>\n</html>\n", pageScript );
}

}  // namespace Agent
