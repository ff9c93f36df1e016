#include "agent/report/CapacityReport.h"

#include <fmt/core.h>

#include <algorithm>

#include "agent/text/TextTable.h"

namespace Agent {

namespace {

std::string limitText( U32 percent ) {
  return percent == 0 ? "" : fmt::format( "{} %", percent );
}

std::string alarmText( const CapacityReport::Alarm & alarm ) {
  return fmt::format( "  alarm {}: unit {} {}, {} % used, {} of {} ({} {} %)\n",
                      alarm.raised ? "raised" : "cleared", alarm.unit, alarm.stage,
                      percentUsed( alarm.row ), countText( alarm.row.used ),
                      countText( alarm.row.maxLimit ), alarm.raised ? "upper" : "clear",
                      alarm.raised ? alarm.threshold.upper : alarm.threshold.clear );
}

}  // namespace

U32 percentUsed( const Morvane::TcamCapacityRow & row ) {
  return row.maxLimit == 0 ? 0 : static_cast< U32 >( U64{ row.used } * 100 / row.maxLimit );
}

std::string capacityText( const CapacityReport & report ) {
  std::vector< std::string > titles = { ">unit",    "stage",    ">used",          ">free",
                                        ">maximum", ">percent", ">high watermark" };
  const bool watched =
      std::any_of( report.rows.begin(), report.rows.end(),
                   []( const StageCapacity & stage ) { return stage.threshold.upper != 0; } );
  if ( watched )
    titles.insert( titles.end(), { ">upper", ">clear" } );
  TextTable table( titles );
  for ( const CapacityReport::Row & stage : report.rows ) {
    const Morvane::TcamCapacityRow & row = stage.row;
    std::vector< std::string > cells = {
        std::to_string( stage.unit ),  stage.stage,
        countText( row.used ),         countText( row.free ),
        countText( row.maxLimit ),     percentText( row.used, row.maxLimit ),
        countText( row.highWatermark ) };
    if ( watched )
      cells.insert( cells.end(),
                    { limitText( stage.threshold.upper ), limitText( stage.threshold.clear ) } );
    table.add( cells );
  }
  std::string text = "TCAM capacity\n" + table.text();
  for ( const CapacityReport::Alarm & alarm : report.alarms )
    text += alarmText( alarm );
  return text;
}

}  // namespace Agent
