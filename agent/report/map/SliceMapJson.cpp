#include <nlohmann/json.hpp>

#include "agent/report/map/SliceMap.h"
#include "agent/text/JsonText.h"

namespace Map {

namespace {

using Json = nlohmann::ordered_json;

const char * useName( RowUse use ) {
  const char * const names[] = { "used", "set-aside", "open", "free", "unknown" };
  return names[ static_cast< U32 >( use ) ];
}

const char * modeName( SoftAsic::WideMode mode ) {
  const char * const names[] = { "single", "double-wide", "paired" };
  return names[ static_cast< U32 >( mode ) ];
}

Json json( const SliceMap & map, const Slice & slice ) {
  Json rows = Json::array();
  for ( const Segment & segment : slice.segments ) {
    Json run = {
        { "first", segment.first }, { "rows", segment.rows }, { "use", useName( segment.use ) } };
    if ( segment.use == RowUse::used || segment.use == RowUse::setAside )
      run[ "user" ] = map.users[ segment.user ].name;
    if ( segment.twins != 0 )
      run[ "twins" ] = segment.twins;
    rows.push_back( std::move( run ) );
  }
  return { { "slice", slice.number },
           { "depth", slice.depth },
           { "keyBits", slice.keyBits },
           { "mode", modeName( slice.mode ) },
           { "group", slice.group ? Json( *slice.group ) : Json() },
           { "rows", slice.rows },
           { "segments", std::move( rows ) } };
}

Json json( const User & user ) {
  return { { "user", user.name },           { "lists", user.lists },
           { "group", user.group },         { "share", user.share ? Json( *user.share ) : Json() },
           { "available", user.available }, { "used", user.used },
           { "setAside", user.setAside },   { "twins", user.twins } };
}

}  // namespace

std::string jsonMap( const SliceMap & map ) {
  Json users = Json::array();
  for ( const User & user : map.users )
    users.push_back( json( user ) );
  Json tables = Json::array();
  for ( const Table & table : map.tables ) {
    Json slices = Json::array();
    for ( const Slice & slice : table.slices )
      slices.push_back( json( map, slice ) );
    tables.push_back( { { "stage", SoftAsic::stageName( table.stage ) },
                        { "pipe", table.pipe },
                        { "copy", table.copy },
                        { "slices", std::move( slices ) } } );
  }
  const Json whole = { { "title", map.title },
                       { "notes", map.notes },
                       { "users", std::move( users ) },
                       { "tables", std::move( tables ) } };
  return Agent::jsonText( whole );
}

}  // namespace Map
