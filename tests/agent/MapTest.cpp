// The occupancy map: against the chip and the records, and its output formats.
#include <gmock/gmock.h>

#include <list>
#include <map>
#include <regex>
#include <tuple>

#include "agent/report/map/SliceMap.h"
#include "tests/agent/TestSwitch.h"

namespace Agent {

namespace {

using testing::HasSubstr;
using testing::Not;
using testing::StartsWith;

// A switch with paired or double-wide slices, on which entries of MAC lists match a VLAN.
struct MapSwitch {
  static Platform::PlatformData platformOf( const ChipSize & size, U32 deepSlices ) {
    ChipSize chip = size;
    chip.paired = size.keyBits <= 192;
    chip.dataChunks = 5;
    Platform::PlatformData platform = testPlatform( chip );
    platform.reservations[ 0 ].name = "<a&l>";
    if ( deepSlices != 0 )
      platform.chip.stages[ 0 ].slices.push_back( { deepSlices, 100, size.keyBits, false } );
    return platform;
  }
  explicit MapSwitch( const ChipSize & size, U32 deepSlices = 0 )
      : activity( Kiv::ActivityUnlockAnchor::lock() ),
        session( platformOf( size, deepSlices ) ),
        feature( session.groupManager(), unit, session.platform(), PortMethod::automatic ) {}

  void add( AclKind kind, U32 rules ) {
    Acl & acl = acls.emplace_back( plainAcl( rules ) );
    acl.kind = kind;
    for ( AclRule & rule : acl.rules ) {
      if ( kind == AclKind::mac )
        rule.vlan = { 7, 0xFFF };
      if ( kind != AclKind::ipv4 )
        rule.source = {};
    }
    ASSERT_FALSE( feature.addAcl( acl ) );
  }
  // An entry in the "l2" group of the second pipe that the library did not create.
  void addForeign() {
    session.chip().sdkLock();
    EXPECT_EQ( session.chip().bcm_field_entry_create_id( unit, Morvane::tcamId( 2, 1, 0 ),
                                                         Morvane::tcamId( 0x900000, 1, 0 ) ),
               BCM_E_NONE );
    session.chip().sdkUnlock();
  }
  Map::SliceMap map() { return Map::sliceMap( session.groupManager(), session.chip(), unit ); }

  Kiv::LockGuard activity;
  SwitchSession session;
  std::list< Acl > acls;
  AclFeature feature;
};

// Content of a row by location: "USER", "USER set aside", "open", "free".
using Place = std::tuple< SoftAsic::StageKind, U32, U32, U32, U32 >;
using Rows = std::map< Place, std::string >;

// Computed from the chip's groups and entries, without its slice views.
Rows rowsOnChip( MapSwitch & sw ) {
  Rows rows;
  const SoftAsic::StageProfile & stage = sw.session.platform().chip.stages[ 0 ];
  for ( const SoftAsic::TableView & table : sw.session.chip().tables( unit ) )
    for ( U32 slice = 0; slice < table.slices; ++slice )
      for ( U32 row = 0; row < stage.slices[ 0 ].depth; ++row )
        rows[ { table.stage, table.pipe, table.copy, slice, row } ] = "free";
  for ( const SoftAsic::GroupView & group : sw.session.chip().groups( unit ) ) {
    const bool wide = group.keyBits > stage.slices[ 0 ].keyBits;
    const Platform::ReservationData * user = nullptr;
    for ( const auto & reservation : sw.session.platform().reservations )
      user = reservation.group == Morvane::tcamNumberBits.get( group.id ) ? &reservation : user;
    const auto put = [ & ]( U32 slice, U32 row, const std::string & what ) {
      for ( U32 half = 0; half < ( wide && stage.paired ? 2 : 1 ); ++half )
        rows[ { group.stage, group.pipe, group.copy, slice + half, row } ] = what;
    };
    for ( const U32 slice : group.slices )
      for ( U32 row = 0; row < stage.slices[ 0 ].depth; ++row )
        if ( row < group.rowsPerSlice )
          put( slice, row, "open" );
        else
          rows.erase( { group.stage, group.pipe, group.copy, slice, row } );
    for ( const SoftAsic::EntryView & entry : sw.session.chip().entries( unit, group.id ) )
      put( entry.slice, entry.row, user->name + ( user->group == 2 ? " set aside" : "" ) );
  }
  return rows;
}

Rows rowsOf( const Map::SliceMap & map ) {
  Rows rows;
  for ( const Map::Table & table : map.tables )
    for ( const Map::Slice & slice : table.slices ) {
      U32 next = 0;
      for ( const Map::Segment & segment : slice.segments ) {
        EXPECT_EQ( segment.first, next );
        const std::string & user = map.users[ segment.user ].name;
        for ( ; next < segment.end(); ++next )
          rows[ { table.stage, table.pipe, table.copy, slice.number, next } ] =
              segment.use == Map::RowUse::used       ? user
              : segment.use == Map::RowUse::setAside ? user + " set aside"
              : segment.use == Map::RowUse::open     ? "open"
              : segment.use == Map::RowUse::free     ? "free"
                                                     : "unknown";
      }
      EXPECT_EQ( next, slice.rows );
    }
  return rows;
}

const char wholeText[] = R"(test

fw does not fit

IFP, ingress: pipe 0 copy 0
  94 of 296 rows used (31.7 %), 202 open; 6 of 8 slices taken (75.0 %)
  slice   rows  bits    group |row 0                               last| entries
      0     32   192        2 |::::::::........................|               8
      1     32   192        1 |AAAAAAAAAAAAAAAAAAAAAAAAAAAAAAAA|              32
      2     32   192        1 |AAAAAAAAAAAAAAAAAAAAAAAAAAAAAAAA|              32
      3    100   192        1 |AAAAAAa.................................|      16
      4    100   384 \      3 |BBb.....................................|       6
      5    100   384 /      3 |BBb.....................................|       6
    6-7    100   192     free |                                        |

IFP, ingress: pipe 1 copy 0
  95 of 296 rows used (32.0 %), 201 open; 6 of 8 slices taken (75.0 %)
  slice   rows  bits    group |row 0                               last| entries
      0     32   192        2 |::::::::?.......................|               9
      1     32   192        1 |AAAAAAAAAAAAAAAAAAAAAAAAAAAAAAAA|              32
      2     32   192        1 |AAAAAAAAAAAAAAAAAAAAAAAAAAAAAAAA|              32
      3    100   192        1 |AAAAAAa.................................|      16
      4    100   384 \      3 |BBb.....................................|       6
      5    100   384 /      3 |BBb.....................................|       6
    6-7    100   192     free |                                        |

Users
     user             group  share  used  percent  available  set aside
  -  ---------------  -----  -----  ----  -------  ---------  ---------
  A  <a&l>                1     80    80  100.0 %          0          0
  B  ip6AclTcamGroup      3     64     6    9.3 %         58          0
  C  l2                   2      8     0    0.0 %          8          8
  Without slices: macAclTcamGroup, mirroringAclTcamGroup1,
  mirroringAclTcamGroup2, openFlowVxlanUdfTcamGroup

A bar is a slice, a cell 1/40 of its rows, or one row; a row holds one entry
  A  entries of A in all rows of the cell, a in some of them
  :  reserved but unused: set aside in the chip for a user
  .  reserved but unused: open to the users of the group that has the slice
  ?  entries that the library has not recorded
  x2 double-wide: an entry takes two rows of the chip
  \ / a pair: an entry takes the same row of both slices
)";

constexpr ChipSize fourTables = { .pipes = 2, .secondCopy = true, .slices = 8 };
constexpr ChipSize doubleWide = { .slices = 8, .keyBits = 256 };
constexpr ChipSize shared = { .pipes = 2, .sharedByPipes = true, .slices = 8 };

}  // namespace

TEST( MapTest, CoversEveryRowOnce ) {
  for ( const ChipSize & size : { fourTables, doubleWide, shared } ) {
    MapSwitch sw( size );
    sw.add( AclKind::ipv4, 40 );
    sw.add( AclKind::ipv6, 5 );
    sw.add( AclKind::mac, 6 );
    const Map::SliceMap map = sw.map();
    EXPECT_EQ( rowsOf( map ), rowsOnChip( sw ) );
    std::map< std::string, std::tuple< U32, U32, U32 > > users;
    for ( const Map::User & user : map.users )
      if ( user.onChip )
        users[ user.name ] = { user.used, user.setAside, user.twins };
    const U32 macTwins = size.sharedByPipes ? 6 : 0;
    EXPECT_EQ( users, ( decltype( users ){ { "<a&l>", { 40, 0, 0 } },
                                           { "ip6AclTcamGroup", { 5, 0, 0 } },
                                           { "macAclTcamGroup", { 6, 0, macTwins } },
                                           { "l2", { 0, 8, 0 } } } ) );
  }
}

// Draws different pipes separately, shows unknown entries and marks wide slices.
TEST( MapTest, TextShowsPipesWideSlicesAndUnknownEntries ) {
  MapSwitch sw( { .pipes = 2, .slices = 3, .entries = 80 }, 5 );
  sw.add( AclKind::ipv4, 80 );
  sw.add( AclKind::ipv6, 6 );
  Map::SliceMap map = sw.map();
  EXPECT_THAT( Map::textMap( map, {} ),
               StartsWith( "IFP, ingress: pipes 0-1, copy 0: the same\n" ) );
  EXPECT_THAT( Map::textMap( map, { .all = true } ),
               HasSubstr( "\nIFP, ingress: pipe 1 copy 0\n" ) );
  sw.addForeign();
  map = sw.map();
  map.title = "test";
  map.notes = { "fw does not fit" };
  EXPECT_EQ( Map::textMap( map, {} ), wholeText );
}

// Every segment is a rectangle with a tooltip; user names are escaped.
TEST( MapTest, SvgHasATooltipForEverySegment ) {
  MapSwitch sw( fourTables );
  sw.add( AclKind::ipv4, 40 );
  sw.add( AclKind::ipv6, 5 );
  sw.addForeign();
  Map::SliceMap map = sw.map();
  map.title = "a \"switch\" & more\x01\xFF";
  map.notes = { "x < y" };
  const std::string svg = Map::svgMap( map, { .all = true } );
  const auto count = [ & ]( const char * pattern ) {
    const std::regex regex( pattern );
    return std::distance( std::sregex_iterator( svg.begin(), svg.end(), regex ), {} );
  };
  std::ptrdiff_t segments = 0;
  for ( const Map::Table & table : map.tables )
    for ( const Map::Slice & slice : table.slices )
      segments += static_cast< std::ptrdiff_t >( slice.segments.size() );
  EXPECT_EQ( count( "<rect[^>]*><title>" ), segments );
  EXPECT_EQ( count( "<title>not recorded, row 8</title>" ), 1 );
  EXPECT_EQ( count( "<title>&lt;a&amp;l&gt;, rows 0-31: 32</title>" ), 4 );
  EXPECT_THAT( Map::svgMap( map, {} ), HasSubstr( ">pipe/copy 0/0, 0/1, 1/1: the same<" ) );
  EXPECT_THAT( svg, HasSubstr( "TCAM slices of a &quot;switch&quot; &amp; more?\xEF\xBF\xBD<" ) );
  EXPECT_THAT( svg, HasSubstr( ">x &lt; y<" ) );
  EXPECT_THAT( svg, Not( HasSubstr( "href" ) ) );

  std::vector< std::string > open;
  const std::regex tag( R"re(<(/?)(\w+)(?: [\w:-]+="[^"<>&]*")*(/?)>|<\?xml[^>]*\?>)re" );
  for ( std::sregex_iterator it( svg.begin(), svg.end(), tag ), end; it != end; ++it ) {
    if ( ( *it )[ 1 ].length() != 0 ) {
      ASSERT_FALSE( open.empty() );
      EXPECT_EQ( open.back(), ( *it )[ 2 ] );
      open.pop_back();
    } else if ( ( *it )[ 2 ].length() != 0 && ( *it )[ 3 ].length() == 0 ) {
      open.push_back( ( *it )[ 2 ] );
    }
  }
  EXPECT_TRUE( open.empty() );
  const std::string text = std::regex_replace( std::regex_replace( svg, tag, "" ),
                                               std::regex( "&(amp|lt|gt|quot);" ), "" );
  EXPECT_EQ( text.find_first_of( "<>&" ), std::string::npos );
}

}  // namespace Agent
