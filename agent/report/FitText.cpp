#include <fmt/format.h>

#include "agent/report/FitReport.h"
#include "agent/text/TextTable.h"

namespace Agent {

namespace {

std::string bindingOf( const ListVerdict & list ) {
  return list.fault.empty() ? list.binding : "not supported";
}

// Without `all`, only the least of the entries that are left.
TextTable verdicts( const std::vector< FitReport > & reports, bool all ) {
  const auto shown = [ all ]( std::vector< std::string > cells ) {
    if ( !all )
      cells.erase( cells.begin() + 6, cells.begin() + 8 );
    return cells;
  };
  TextTable table( shown( { "platform", "list", "fits", ">rules", ">needs", ">available",
                            ">share left", ">chip left", ">short by", "binding" } ) );
  for ( const FitReport & report : reports )
    for ( const ListVerdict & list : report.lists ) {
      const bool known = list.fault.empty();
      const auto count = [ known ]( U64 number ) {
        return known ? countText( number ) : std::string( "-" );
      };
      table.add(
          shown( { report.platform, list.acl->name, list.fits() ? "yes" : "no",
                   countText( list.acl->rules.size() ), count( list.needed ),
                   count( list.room.entries() ), count( list.room.share ), count( list.room.chip ),
                   list.shortBy ? countText( *list.shortBy ) : "", bindingOf( list ) } ) );
    }
  return table;
}

std::string verdictTable( const std::vector< FitReport > & reports, size_t columns ) {
  const std::string whole = verdicts( reports, true ).text( columns );
  const size_t rule = whole.find( '\n' ) + 1;  // the widest line
  return columns == 0 || whole.find( '\n', rule ) - rule <= columns
             ? whole
             : verdicts( reports, false ).text( columns );
}

std::string resourceTable( const std::vector< ResourceUse > & resources, size_t columns ) {
  TextTable table( { "resource", ">used", ">total", ">percent", "held by" } );
  for ( const ResourceUse & use : resources )
    table.add( { use.name, countText( use.used ), countText( use.total ),
                 percentText( use.used, use.total ), use.holders } );
  return table.text( columns );
}

std::string platformText( const FitReport & report, size_t columns ) {
  std::string advice;
  for ( const ListVerdict & list : report.lists ) {
    if ( const std::string verdict = verdictText( list ); !verdict.empty() )
      advice += fmt::format( "  {}\n", verdict );
    for ( const std::string & remedy : list.remedies )
      advice += fmt::format( "    would fit with {}\n", remedy );
  }
  const std::string lines = fmt::format( "\nPlatform {}: {}\n{}{}\n", report.platform,
                                         report.description, advice, resourcesTitle( report ) );
  return linesWithin( lines, columns ) + resourceTable( report.resources, columns );
}

}  // namespace

std::string verdictText( const ListVerdict & list ) {
  const std::string & name = list.acl->name;
  if ( !list.fault.empty() )
    return name + ": " + list.fault;
  if ( !list.shortage )
    return "";
  const U32 fitting = list.shortage->fitting;
  return fitting == 0 ? name + ": none of its rules fits"
                      : fmt::format( "{}: its first {} rules fit, up to line {}", name,
                                     countText( fitting ), list.acl->rules[ fitting - 1 ].line );
}

std::string resourcesTitle( const FitReport & report ) {
  return "Resources of one pipe and copy, " + ( report.fullAt.empty()
                                                    ? "with the lists that it holds"
                                                    : "when " + report.fullAt + " ran out" );
}

std::string fitText( const std::vector< FitReport > & reports,
                     const std::vector< std::string > & changes, const ReaderRemarks & remarks,
                     size_t columns ) {
  std::string text = partialText( remarks );
  if ( !changes.empty() )
    text += fmt::format( "What if {}\n", fmt::join( changes, ", " ) );
  text += verdictTable( reports, columns );
  for ( const FitReport & report : reports )
    text += platformText( report, columns );
  return text;
}

}  // namespace Agent
