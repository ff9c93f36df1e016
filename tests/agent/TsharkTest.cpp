// Fields of frames and the meaning of rules, compared with what tshark reads from a capture.
#include <fmt/format.h>
#include <gmock/gmock.h>
#include <unistd.h>

#include <cstdio>
#include <filesystem>
#include <fstream>
#include <memory>
#include <optional>
#include <sstream>

#include "agent/acl/AddressText.h"
#include "agent/packets/RandomPackets.h"
#include "agent/read/AclFiles.h"
#include "agent/verify/BruteForce.h"

namespace Agent {

namespace {

class TsharkTest : public testing::Test {
 protected:
  TsharkTest() : file_( fmt::format( "{}/tshark-{}.pcap", testing::TempDir(), getpid() ) ) {}
  ~TsharkTest() override { std::filesystem::remove( file_ ); }

  void SetUp() override {
    if ( std::system( "tshark --version > /dev/null 2>&1" ) != 0 )
      GTEST_SKIP() << "tshark is not installed";
  }

  void write( const std::vector< Frame > & frames ) const {
    std::ofstream out( file_, std::ios::binary );
    const auto put = [ & ]( std::initializer_list< U32 > words ) {
      for ( const U32 word : words )
        out.write( reinterpret_cast< const char * >( &word ), sizeof word );
    };
    put( { 0xA1B2C3D4, 4U << 16 | 2, 0, 0, 65535, 1 } );
    for ( const Frame & frame : frames ) {
      const auto size = static_cast< U32 >( frame.size() );
      put( { 0, 0, size, size } );
      out.write( reinterpret_cast< const char * >( frame.data() ), size );
    }
  }

  // Lines of tshark's output.
  std::vector< std::string > tshark( const std::string & arguments ) const {
    const std::string line = fmt::format(
        "tshark -n -r {} -o ip.defragment:FALSE -o ipv6.defragment:FALSE {} 2> /dev/null", file_,
        arguments );
    const std::unique_ptr< std::FILE, int ( * )( std::FILE * ) > pipe( popen( line.c_str(), "r" ),
                                                                       pclose );
    std::string text;
    char block[ 4096 ];
    while ( const size_t size = std::fread( block, 1, sizeof block, pipe.get() ) )
      text.append( block, size );
    std::vector< std::string > lines;
    std::istringstream in( text );
    for ( std::string each; std::getline( in, each ); )
      lines.push_back( each );
    return lines;
  }

 private:
  const std::string file_;
};

using Columns = std::vector< std::string >;

constexpr const char * columns[] = {
    "eth.src",           "eth.dst",          "vlan.id",
    "vlan.priority",     "ip.src",           "ip.dst",
    "ipv6.src",          "ipv6.dst",         "ip.dsfield",
    "ipv6.tclass",       "ip.ttl",           "ipv6.hlim",
    "ip.proto",          "ip.frag_offset",   "ip.flags.mf",
    "tcp.srcport",       "tcp.dstport",      "udp.srcport",
    "udp.dstport",       "tcp.flags",        "icmp.type",
    "icmp.code",         "icmpv6.type",      "icmpv6.code",
    "ipv6.nxt",          "ipv6.fraghdr.nxt", "ipv6.fraghdr.offset",
    "ipv6.fraghdr.more",
};

// A frame's columns by name. Of several values of one field the first, but for VLAN ids.
class TsharkRow {
 public:
  explicit TsharkRow( const std::string & line ) {
    std::istringstream in( line );
    for ( std::string value; std::getline( in, value, '\t' ); )
      values_.push_back( value );
    values_.resize( std::size( columns ) );
  }

  std::string text( std::string_view name ) const {
    const auto * at = std::find( std::begin( columns ), std::end( columns ), name );
    return values_[ static_cast< size_t >( at - std::begin( columns ) ) ];
  }
  std::string first( std::string_view name ) const {
    const std::string all = text( name );
    return all.substr( 0, all.find( ',' ) );
  }
  std::optional< U32 > number( std::string_view name ) const {
    const std::string value = first( name );
    if ( value.empty() )
      return std::nullopt;
    return static_cast< U32 >( std::stoul( value, nullptr, 0 ) );
  }
  std::optional< U32 > either( std::string_view one, std::string_view other ) const {
    const auto value = number( one );
    return value ? value : number( other );
  }

 private:
  std::vector< std::string > values_;
};

std::string shown( const std::optional< U32 > & value ) {
  return value ? std::to_string( *value ) : "-";
}

template < class T >
std::optional< U32 > widened( const std::optional< T > & value ) {
  return value ? std::optional< U32 >( *value ) : std::nullopt;
}

FragmentKind fragmentIn( const TsharkRow & row ) {
  if ( row.either( "ip.frag_offset", "ipv6.fraghdr.offset" ).value_or( 0 ) != 0 )
    return FragmentKind::later;
  return row.either( "ip.flags.mf", "ipv6.fraghdr.more" ).value_or( 0 ) != 0 ? FragmentKind::first
                                                                             : FragmentKind::whole;
}

// The fields of a packet, one text from each reader.
std::string packetText( const TsharkRow & row ) {
  const auto protocol = row.number( "ip.proto" ) ? row.number( "ip.proto" )
                                                 : row.either( "ipv6.fraghdr.nxt", "ipv6.nxt" );
  const auto flags = row.number( "tcp.flags" );
  std::string vlans = row.text( "vlan.id" );
  return fmt::format(
      "{} {} vlan {} priority {} {}{} {}{} class {} ttl {} protocol {} fragment {} ports {} {} "
      "flags {} icmp {} {}",
      row.first( "eth.src" ), row.first( "eth.dst" ), vlans, shown( row.number( "vlan.priority" ) ),
      row.first( "ip.src" ), row.first( "ipv6.src" ), row.first( "ip.dst" ),
      row.first( "ipv6.dst" ), shown( row.either( "ip.dsfield", "ipv6.tclass" ) ),
      shown( row.either( "ip.ttl", "ipv6.hlim" ) ), shown( protocol ),
      static_cast< int >( fragmentIn( row ) ), shown( row.either( "tcp.srcport", "udp.srcport" ) ),
      shown( row.either( "tcp.dstport", "udp.dstport" ) ),
      shown( flags ? std::optional( *flags & 0xFF ) : flags ),
      shown( row.either( "icmp.type", "icmpv6.type" ) ),
      shown( row.either( "icmp.code", "icmpv6.code" ) ) );
}

std::string packetText( const FrameFields & fields ) {
  std::string source, destination;
  if ( fields.l3 == L3Kind::ipv4 ) {
    source = ip4Text( fields.sourceIp );
    destination = ip4Text( fields.destinationIp );
  } else if ( fields.l3 == L3Kind::ipv6 ) {
    source = ip6Text( fields.source6 );
    destination = ip6Text( fields.destination6 );
  }
  std::string vlans = fields.vlan ? std::to_string( *fields.vlan ) : "";
  if ( fields.innerVlan )
    vlans += fmt::format( ",{}", *fields.innerVlan );
  const auto half = [ & ]( U32 shift ) {
    return fields.icmpTypeCode ? std::optional< U32 >( *fields.icmpTypeCode >> shift & 0xFF )
                               : std::nullopt;
  };
  const auto port = [ & ]( auto member ) {
    return fields.ports ? std::optional< U32 >( ( *fields.ports ).*member ) : std::nullopt;
  };
  return fmt::format(
      "{} {} vlan {} priority {} {} {} class {} ttl {} protocol {} fragment {} ports {} {} flags "
      "{} icmp {} {}",
      macText( fields.sourceMac ), macText( fields.destinationMac ), vlans,
      shown( widened( fields.vlanPriority ) ), source, destination,
      shown( widened( fields.trafficClass ) ), shown( widened( fields.hopLimit ) ),
      shown( widened( fields.protocol ) ),
      static_cast< int >( fields.fragment.value_or( FragmentKind::whole ) ),
      shown( port( &FrameFields::Ports::source ) ),
      shown( port( &FrameFields::Ports::destination ) ), shown( widened( fields.tcpFlags ) ),
      shown( half( 8 ) ), shown( half( 0 ) ) );
}

std::vector< Acl > listsOf( const std::string & text ) {
  return parseAclText( { "l", false }, "f", text, nullptr ).lists;
}

TEST_F( TsharkTest, ReadsTheSameFields ) {
  std::vector< Acl > lists;
  for ( const char * kind : { "ipv4", "ipv6", "mac" } )
    for ( Acl & acl : listsOf( fmt::format(
              R"({{ "type": "{}", "rules": [ {{ "vlan": 5, "innerVlan": "6-9" }} {} ] }})", kind,
              std::string_view( kind ) == "mac"
                  ? ""
                  : R"(, { "protocol": "tcp", "fragments": "first" }, { "protocol": "udp" },
                       { "fragments": "later", "dscp": "ef" }, { "protocol": 1, "ttl": "<3" },
                       { "protocol": 58, "ecn": 3 })" ) ) )
      lists.push_back( std::move( acl ) );
  const std::vector< Frame > frames = randomFrames( lists, 1, 4000 );
  write( frames );
  std::string arguments = "-T fields -E occurrence=a";
  for ( const char * column : columns )
    arguments += fmt::format( " -e {}", column );
  const std::vector< std::string > lines = tshark( arguments );
  ASSERT_EQ( lines.size(), frames.size() );
  size_t compared = 0;
  for ( size_t i = 0; i < frames.size(); ++i ) {
    const FrameFields fields = readFrame( frames[ i ] );
    // What follows an extension header beyond the end of the packet, nobody knows.
    if ( fields.l3 == L3Kind::ipv6 && !fields.protocol )
      continue;
    ++compared;
    ASSERT_EQ( packetText( fields ), packetText( TsharkRow( lines[ i ] ) ) ) << lines[ i ];
  }
  EXPECT_GT( compared, frames.size() / 10 * 9 );
}

// The first rule of each list matches the packets that tshark selects by a filter.
TEST_F( TsharkTest, RulesMatchWhatFiltersSelect ) {
  const std::string openConfig =
      R"({ "acl-set": [ { "name": "l", "type": "ACL_IPV4", "acl-entries": { "acl-entry": [ {
           "sequence-id": 1, "actions": { "config": { "forwarding-action": "DROP" } }, )";
  const std::string rfc8519 = R"({ "ietf-access-control-list:acls": { "acl": [ { "name": "l",
           "aces": { "ace": [ { "name": "r", "actions": { "forwarding": "drop" }, "matches": )";
  const std::string sonic = R"({ "ACL_TABLE": { "l": { "type": "L3" } }, "ACL_RULE": { "l|r": {
           "PRIORITY": "1", "PACKET_ACTION": "DROP", )";
  const std::string notLater = " && ip.frag_offset == 0";
  const std::pair< std::string, std::string > rows[] = {
      { "@10.0.0.0/9 0.0.0.0/0 0 : 65535 1000 : 2000 0x11/0xFF\n",
        "ip.src == 10.0.0.0/9 && udp.dstport in {1000..2000}" },
      { "@0.0.0.0/0 0.0.0.0/0 0 : 65535 0 : 65535 0x06/0xFF 0x0200/0x1200\n",
        "tcp.flags.syn == 1 && tcp.flags.ack == 0 && ip" },
      { R"({ "rules": [ { "dscp": "af11", "ecn": 1, "ttl": "10-20", "vlan": 7 } ] })",
        "ip.dsfield.dscp == 10 && ip.dsfield.ecn == 1 && ip.ttl in {10..20} && vlan.id == 7" },
      { R"({ "type": "ipv6", "rules": [ { "protocol": "icmp6", "icmp": { "type": 128 } } ] })",
        "icmpv6.type == 128 && ipv6" },
      { rfc8519 + R"({ "ipv4": { "destination-ipv4-network": "192.0.2.0/24" },
                       "tcp": { "flags": "syn", "source-port": { "port": 443 } } } } ] } } ] } })",
        "ip.dst == 192.0.2.0/24 && tcp.srcport == 443 && tcp.flags == 2" },
      { rfc8519 + R"({ "icmp": { "type": 3, "code": 4 }, "ipv4": {} } } ] } } ] } })",
        "icmp.type == 3 && icmp.code == 4 && ip" },
      { openConfig + R"("ipv4": { "config": { "hop-limit": 255, "dscp": 46 } } } ] } } ] })",
        "ip.ttl == 255 && ip.dsfield.dscp == 46" },
      { openConfig +
            R"("transport": { "config": { "builtin-detail": "TCP_ESTABLISHED" } } } ] } } ] })",
        "(tcp.flags.ack == 1 || tcp.flags.reset == 1) && ip" },
      { sonic + R"("TCP_FLAGS": "0x02/0x12", "SRC_IP": "10.0.0.0/8" } } })",
        "tcp.flags.syn == 1 && tcp.flags.ack == 0 && ip.src == 10.0.0.0/8" },
      { sonic + R"("VLAN_ID": "9", "L4_DST_PORT": "53", "IP_PROTOCOL": "17" } } })",
        "vlan.id == 9 && udp.dstport == 53 && ip" },
      { "ip access-list extended l\n deny tcp 10.0.0.0 0.255.0.255 any range 20 25 established\n",
        "ip.src[0:1] == 0a && ip.src[2:1] == 00 && tcp.dstport in {20..25} && "
        "(tcp.flags.ack == 1 || tcp.flags.reset == 1)" },
      { "ip access-list extended l\n deny ip any any fragments\n", "ip.frag_offset > 0" },
      { "ip access-list extended l\n deny icmp any any ttl lt 5\n", "ip.proto == 1 && ip.ttl < 5" },
      { "*filter\n:FORWARD ACCEPT\n-A FORWARD -d 10.1.0.0/16 -p tcp --syn -j DROP\nCOMMIT\n",
        "ip.dst == 10.1.0.0/16 && tcp.flags.syn == 1 && tcp.flags.ack == 0 && tcp.flags.reset == 0 "
        "&& tcp.flags.fin == 0" },
      { "*filter\n:FORWARD ACCEPT\n-A FORWARD -s 10.0.0.1 ! -f -m ttl --ttl-gt 9 -j DROP\nCOMMIT\n",
        "ip.src == 10.0.0.1 && ip.ttl > 9" + notLater },
      { "*filter\n:FORWARD ACCEPT\n-A FORWARD -s 2001:db8::/32 -p udp --dport 53 -j DROP\nCOMMIT\n",
        "ipv6.src == 2001:db8::/32 && udp.dstport == 53" },
  };
  for ( const auto & [ text, filter ] : rows ) {
    const std::vector< Acl > lists = listsOf( text );
    ASSERT_EQ( lists.size(), 1U ) << text;
    const Acl & acl = lists[ 0 ];
    const std::vector< Frame > frames = randomFrames( lists, 1, 800 );
    write( frames );
    std::vector< std::string > matched;
    for ( size_t i = 0; i < frames.size(); ++i )
      if ( ruleMatches( acl, acl.rules[ 0 ], readFrame( frames[ i ] ) ) )
        matched.push_back( std::to_string( i + 1 ) );
    EXPECT_GT( matched.size(), 100U ) << text;
    EXPECT_EQ( tshark( fmt::format( "-T fields -e frame.number -Y '{}'", filter ) ), matched )
        << text << filter;
  }
}

}  // namespace

}  // namespace Agent
