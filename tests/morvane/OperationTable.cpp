#include "tests/morvane/OperationTable.h"

#include <fcntl.h>

namespace Test {

namespace {

using S = OperationSwitch;

void nothing( S &, U32 ) {}
void get( S & sw, U32 p ) {
  sw.take( p );
}
void release( S & sw, U32 p ) {
  sw.user( p ).releaseEntry( 0, sw.entry[ p ] );
}
void install( S & sw, U32 p ) {
  sw.user( p ).installEntry( 0, sw.entry[ p ] );
}
template < TcamGroupAssignment assignment >
void getRange( S & sw, U32 p ) {
  sw.entry[ p ] = static_cast< TestSwitch & >( sw ).take( assignment, sw.at( p ).offset );
}
template < TcamGroupAssignment assignment >
void releaseRange( S & sw, U32 p ) {
  sw.manager( assignment ).releaseEntry( 0, sw.entry[ p ] );
}
void takeAndWrite( S & sw, U32 p ) {
  sw.takeAnother( p ), sw.take( p ), sw.write( p );
}
void takeWithPolicer( S & sw, U32 p ) {
  sw.take( p ), sw.makePolicer( p );
}
void attach( S & sw, U32 p, bool attaches ) {
  sw.user( p ).attachPolicer( 0, sw.entry[ p ], sw.policer[ p ], attaches );
}
void addField( S & sw, U32 p ) {
  sw.field( p, true );
}
// Creates the mirroring group with an installed entry.
void mirror( S & sw, U32 p ) {
  sw.mirror( p ).initializeGroup( 0 );
  const U32 id = static_cast< TestSwitch & >( sw ).take( sw.at( p ).mirroring );
  sw.mirror( p ).installEntry( 0, id );
}
U32 nowhere() {
  static const int fd = open( "/dev/null", O_WRONLY );
  return static_cast< U32 >( fd );
}

const TableOperation table[] = {
    { "get the first", nothing, get, Left::before, true },
    { "get another", []( S & sw, U32 p ) { sw.takeAnother( p ); }, get, Left::before, true },
    { "get of a chunk", nothing, getRange< ipCoppTcamGroup >, Left::before, true },
    { "get of a range", nothing, getRange< l2ControlPrioTcamGroup >, Left::before, true },
    { "get of a flow group", nothing, getRange< openFlowUdfTcamGroup >, Left::before, true },
    { "release the last",
      []( S & sw, U32 p ) { sw.install( p ), sw.makePolicer( p ), attach( sw, p, true ); }, release,
      Left::after },
    { "release one", []( S & sw, U32 p ) { sw.takeAnother( p ), sw.install( p ); }, release,
      Left::after },
    { "release of a chunk", getRange< ipCoppTcamGroup >, releaseRange< ipCoppTcamGroup >,
      Left::after },
    { "release of a range", getRange< l2ControlPrioTcamGroup >,
      releaseRange< l2ControlPrioTcamGroup >, Left::after },
    { "release of a flow group", getRange< openFlowUdfTcamGroup >,
      releaseRange< openFlowUdfTcamGroup >, Left::after },
    { "install",
      []( S & sw, U32 p ) {
        takeAndWrite( sw, p );
        sw.user( p ).loopbackRedirectIs( 0, sw.entry[ p ], bcmFieldActionRedirectPbmp, {} );
      },
      install },
    { "install with ports",  // the first copy may keep them for the next installation
      []( S & sw, U32 p ) {
        takeAndWrite( sw, p );
        bcm_pbmp_t ports = {};
        ports.add( 2 );
        sw.user( p ).inPortsForEntryIs( 0, sw.entry[ p ], ports, ports, true );
      },
      install, Left::unknown },
    { "install again",
      []( S & sw, U32 p ) {
        takeAndWrite( sw, p );
        sw.user( p ).loopbackRedirectIs( 0, sw.entry[ p ], bcmFieldActionRedirectPbmp, {} );
        install( sw, p ), sw.match( 0, sw.entry[ p ], 90 );
      },
      []( S & sw, U32 p ) { sw.user( p ).reinstallEntry( 0, sw.entry[ p ] ); }, Left::either,
      true },
    { "disable", []( S & sw, U32 p ) { sw.install( p ); },
      []( S & sw, U32 p ) { sw.user( p ).enableEntry( 0, sw.entry[ p ], false, 0 ); }, Left::before,
      true },
    { "set a priority", takeAndWrite,
      []( S & sw, U32 p ) { sw.user( p ).setPriorityForEntry( 0, sw.entry[ p ], 50 + p ); },
      Left::before, true },
    { "remove", []( S & sw, U32 p ) { sw.install( p ); },
      []( S & sw, U32 p ) { sw.user( p ).removeEntry( 0, sw.entry[ p ] ); }, Left::after },
    { "attach a policer", takeWithPolicer, []( S & sw, U32 p ) { attach( sw, p, true ); } },
    { "detach a policer", []( S & sw, U32 p ) { takeWithPolicer( sw, p ), attach( sw, p, true ); },
      []( S & sw, U32 p ) { attach( sw, p, false ); } },
    { "create a policer", nothing, []( S & sw, U32 p ) { sw.makePolicer( p ); }, Left::before,
      true },
    { "set a policer", []( S & sw, U32 p ) { sw.makePolicer( p ); },
      []( S & sw, U32 p ) {
        bcm_policer_config_t limits = { 0, bcmPolicerModeCommitted, 70 + p, 1, 0, 0 };
        sw.groups->setPolicer( 0, sw.policer[ p ], reinterpret_cast< U8 * >( &limits ) );
      },
      Left::before, true },
    { "remove a policer", []( S & sw, U32 p ) { sw.makePolicer( p ); },
      []( S & sw, U32 p ) { sw.groups->removePolicer( 0, sw.policer[ p ] ); }, Left::after },
    { "get a range checker", nothing,
      []( S & sw, U32 p ) { sw.groups->getRangeChecker( 0, sw.range( p ) ); }, Left::before, true },
    { "release a range checker",
      []( S & sw, U32 p ) { sw.groups->getRangeChecker( 0, sw.range( p ) ); },
      []( S & sw, U32 p ) { sw.groups->releaseRangeChecker( 0, sw.range( p ) ); }, Left::after },
    { "initialize a group", nothing,
      []( S & sw, U32 p ) { sw.groups->initializeGroup( 0, sw.at( p ).group ); }, Left::before,
      true },
    { "uninitialize a group",
      []( S & sw, U32 p ) { sw.groups->initializeGroup( 0, sw.at( p ).group ); },
      []( S & sw, U32 p ) { sw.groups->uninitializeGroup( 0, sw.at( p ).group ); }, Left::after },
    { "leave a group of one user", []( S & sw, U32 p ) { sw.user( p ).initializeGroup( 0 ); },
      []( S & sw, U32 p ) { sw.user( p ).uninitializeGroup( 0 ); }, Left::after, true },
    { "add a field", mirror, addField, Left::beforeOrNoGroup, true },
    { "add a shared field",
      []( S & sw, U32 p ) { mirror( sw, p ), sw.field( p, true ), mirror( sw, p ^ 2 ); },
      []( S & sw, U32 p ) { sw.field( p ^ 2, true ); }, Left::beforeOrNoGroup, true },
    { "add a field too wide",
      []( S & sw, U32 p ) {
        mirror( sw, p );
        for ( const U8 offset : { 20, 24, 28 } )
          sw.mirror( p ).setMirroringAclUdf( 0, Acl::ip(), 0x0800, UdfBaseL2HeaderEnd, offset, 4,
                                             true );
      },
      addField, Left::beforeOrNoGroup },
    { "remove a field", []( S & sw, U32 p ) { mirror( sw, p ), addField( sw, p ); },
      []( S & sw, U32 p ) { sw.field( p, false ); }, Left::after },
    { "leave a group with fields",
      []( S & sw, U32 p ) {
        addField( sw, p );
        sw.entry[ p ] = static_cast< TestSwitch & >( sw ).take( sw.at( p ).mirroring );
      },
      []( S & sw, U32 p ) { sw.mirror( p ).releaseEntry( 0, sw.entry[ p ] ); }, Left::after },
    { "add a MAC field",
      []( S & sw, U32 p ) {
        sw.groups->groupMirroringAclTypeIs( static_cast< U8 >( sw.mirror( p ).group() ),
                                            Acl::mac() );
        mirror( sw, p );
      },
      []( S & sw, U32 p ) { sw.field( p, true, Acl::mac() ); }, Left::beforeOrNoGroup, true },
    { "remove a MAC field",
      []( S & sw, U32 p ) {
        sw.groups->groupMirroringAclTypeIs( static_cast< U8 >( sw.mirror( p ).group() ),
                                            Acl::mac() );
        mirror( sw, p );
        sw.field( p, true, Acl::mac() );
      },
      []( S & sw, U32 p ) { sw.field( p, false, Acl::mac() ); }, Left::after },
    { "compress", takeAndWrite, []( S & sw, U32 p ) { sw.user( p ).compressEntries( 0 ); },
      Left::before, true },
    { "ask for room", nothing, []( S & sw, U32 p ) { sw.user( p ).entriesAvailable( 0 ); },
      Left::before, true },
    { "change a VLAN", []( S & sw, U32 p ) { sw.install( p ); },
      []( S & sw, U32 p ) { sw.untag( 0, 10, 6 + p ); }, Left::observed },
    { "read counters", []( S & sw, U32 p ) { sw.install( p ); },
      []( S & sw, U32 p ) { sw.user( p ).hitsForEntry( 0, sw.entry[ p ] ); }, Left::before, true },
    { "clear counters", []( S & sw, U32 p ) { sw.install( p ); },
      []( S & sw, U32 ) { sw.groups->clearAllCounters(); }, Left::before, true },
    { "report usage", []( S & sw, U32 p ) { sw.install( p ); },
      []( S & sw, U32 ) { sw.groups->showTcamUsage( "sw", nowhere(), true, 0, -1 ); }, Left::before,
      true },
    { "report banks", []( S & sw, U32 p ) { sw.install( p ); },
      []( S & sw, U32 ) { sw.groups->showSummaryTcamUsage( "sw", nowhere(), 0 ); }, Left::before,
      true },
    { "poll", nothing, []( S & sw, U32 ) { sw.capacity->poll(); }, Left::before, true },
};

}  // namespace

std::span< const TableOperation > tableOperations() {
  return table;
}

}  // namespace Test
