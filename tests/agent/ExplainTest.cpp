// What happens to one packet: the report, packets in words, and why rules do not win.
#include <gmock/gmock.h>

#include <filesystem>
#include <fstream>

#include "agent/command/Explain.h"
#include "agent/feature/AclFeature.h"
#include "agent/packets/PacketMaker.h"
#include "agent/packets/PacketText.h"
#include "tests/agent/TestSwitch.h"

namespace Agent {

namespace {

using testing::EndsWith;
using testing::HasSubstr;

class ExplainTest : public testing::Test {
 protected:
  ~ExplainTest() override {
    for ( const std::string & file : options_.acls )
      std::filesystem::remove( file );
  }

  void add( const std::string & name, const std::string & text ) {
    options_.acls.push_back( testing::TempDir() + "/" + name );
    std::ofstream( options_.acls.back() ) << text;
  }

  // Sends the packet `times` times; explains the last.
  Explanation explain( const std::string & words, std::optional< RuleIndex > rule = {},
                       U32 times = 1 ) {
    const TextPacket text = packetFromText( words );
    const Packet packet = { makeFrame( text.fields ), 0 };
    const PortPair ports = { static_cast< U32 >( std::stoul( text.inPort.value_or( "0" ) ) ),
                             static_cast< U32 >( std::stoul( text.outPort.value_or( "0" ) ) ) };
    const Kiv::LockGuard activity( Kiv::ActivityUnlockAnchor::lock() );
    const RunInput input = readInput( options_ );
    Explanation result;
    withProgrammedFeature( input, [ & ]( SwitchSession & session, AclFeature & feature ) {
      for ( U32 i = 0; i < times; ++i )
        result = Explainer( input, session, feature ).explain( packet, ports, rule );
    } );
    result.packet = "Packet";
    return result;
  }

  RunOptions options_;
};

// The fields of a packet as the reference model reads them from its frame; or what is wrong.
std::string readBack( const std::string & words ) {
  try {
    const TextPacket packet = packetFromText( words );
    const Frame frame = makeFrame( packet.fields );
    std::string text = describe( readFrame( frame ) );
    text.erase( 0, text.find( "bytes " ) + 6 );
    return packet.inPort.value_or( "-" ) + "," + packet.outPort.value_or( "-" ) + " " + text;
  } catch ( const PacketTextError & error ) {
    return error.what();
  }
}

constexpr const char * rules = R"({ "rules": [
  { "source": "10.0.0.0/8", "protocol": "tcp", "destinationPorts": "80-90",
    "tcpFlags": { "value": "0x2", "mask": "0x12" } },
  { "protocol": "tcp", "destinationPorts": 81, "actions": [ "permit", "copyToCpu" ],
    "police": { "rate": "8k", "burst": 125 } },
  { "name": "rest", "protocol": "tcp", "actions": [ "drop" ] } ] })";

TEST_F( ExplainTest, PrintsWhatTheChipSeesAndDoes ) {
  options_.platform = "small";
  add( "web", rules );
  add( "late",
       R"({ "type": "mac", "rules": [ { "etherType": "0x0800", "actions": [ "drop" ] } ] })" );
  EXPECT_EQ( explanationText(
                 explain( "in 3 tcp 11.0.0.1:1024 > 192.0.2.9:81 flags syn", RuleIndex{ 0, 0 } ) ),
             R"(Platform small: one pipe, 48 ports, a few thousand ingress entries
Packet: 60 bytes, enters by port 3 (pipe 0, copy 0), leaves by port 0

Fields that the chip sees
  source            11.0.0.1
  destination       192.0.2.9
  sourceMac         02:00:00:00:00:02
  destinationMac    02:00:00:00:00:01
  etherType         0x800
  protocol          tcp
  dscp              0
  ecn               0
  ttl               64
  fragments         none (whole packet)
  sourcePorts       1024
  destinationPorts  81
  tcpFlags          syn
  inPorts           3
  outPorts          0
  range checkers    1 (destinationPorts 80-90)

Lookup, in this order
  stage  group  pipe  copy  users                 winner                    entry    priority  slice  row
  -----  -----  ----  ----  --------------------  ----------------------  -------  ----------  -----  ---
  IFP        7     0     0  L2 control            none: no entry matches
  IFP        5     0     0  MAC ACL               late rule 1 (line 1)    0x50000  2147155966      6    0
  IFP        3     0     0  IPv4 ACL, Router ACL  web rule 2 (line 4)     0x30001  2147287037      5    1

Actions
  late rule 1 (line 1): ethertype 0x800 drop
    drop: decides
  web rule 2 (line 4): tcp any > any:81 permit copyToCpu
    policer: green
    permit: without effect: late rule 1 (line 1) decided in a group of higher priority
    copy to the CPU: applies

Result: dropped, copied to the CPU
web rule 1 (line 2) did not win: source differs: the rule wants 10.0.0.0/8, the packet has 11.0.0.1
)" );
  // The policer has tokens for two packets.
  EXPECT_THAT( explanationText( explain( "in 3 tcp 11.0.0.1:1024 > 192.0.2.9:81 flags syn",
                                         RuleIndex{ 0, 2 }, 3 ) ),
               EndsWith( R"(
  web rule 2 (line 4): tcp any > any:81 permit copyToCpu
    policer: red, which drops the packet
    permit: does not apply: the policer drops the packet
    copy to the CPU: does not apply: the policer drops the packet

Result: dropped by a policer
web rule 3 (line 6) did not win: web rule 2 (line 4) comes earlier and matches as well
)" ) );
}

TEST_F( ExplainTest, NamesWhatKeptARuleFromWinning ) {
  options_.platform = "shared";
  options_.binds = { "bound=4-6", "leave=2:out" };
  add( "web", rules );
  add( "bound", R"({ "rules": [ {} ] })" );
  add( "six", R"({ "type": "ipv6", "rules": [ { "destination": "2001:db8::/32", "ttl": 3 } ] })" );
  add( "leave", R"({ "rules": [ { "fragments": "later" } ] })" );
  add( "taps", R"({ "use": "mirror", "mirrorPort": 1, "rules": [
    { "udf": [ { "base": "l3Start", "offset": 12, "value": "0x0a000001" } ] } ] })" );
  const struct {
    const char * packet;
    RuleIndex rule;
    const char * why;
  } cases[] = {
      { "tcp 10.0.0.1 > 1.1.1.1:80 flags syn", { 0, 0 }, "" },
      { "tcp 11.0.0.1 > 1.1.1.1:80 flags syn",
        { 0, 0 },
        "source differs: the rule wants 10.0.0.0/8, the packet has 11.0.0.1" },
      { "udp 10.0.0.1 > 1.1.1.1:80",
        { 0, 0 },
        "protocol differs: the rule wants tcp, the packet has udp" },
      { "tcp 10.0.0.1 > 1.1.1.1:91 flags syn",
        { 0, 0 },
        "destinationPorts differs: the rule wants 80-90, the packet has 91" },
      { "tcp 10.0.0.1 > 1.1.1.1:80 flags syn,ack",
        { 0, 0 },
        "tcpFlags differs: the rule wants +syn-ack, the packet has syn,ack" },
      { "tcp 10.0.0.1 > 1.1.1.1 fragment later",
        { 0, 0 },
        "destinationPorts differs: the rule wants 80-90, the packet has no such field" },
      { "tcp 10.0.0.1 > 1.1.1.1:81 flags syn",
        { 0, 1 },
        "web rule 1 (line 2) comes earlier and matches as well" },
      { "in 7 tcp 10.0.0.1 > 1.1.1.1",
        { 1, 0 },
        "its list is not bound to port 7, by which the packet enters" },
      { "tcp ::1 > ::2", { 0, 2 }, "its list is for IPv4 packets" },
      { "ethertype arp", { 2, 0 }, "its list is for IPv6 packets" },
      { "tcp ::1 > 2001:db8::1 ttl 4",
        { 2, 0 },
        "ttl differs: the rule wants 3, the packet has 4" },
      { "out 2 udp 10.0.0.1 > 1.1.1.1",
        { 3, 0 },
        "fragments differs: the rule wants later, the packet has none (whole packet)" },
      { "out 3 udp 10.0.0.1 > 1.1.1.1",
        { 3, 0 },
        "its list is not bound to port 3, by which the packet leaves" },
      { "out 2 tcp 10.0.0.1 > 1.1.1.1 fragment later",
        { 3, 0 },
        "the packet is dropped before it reaches the list" },
      { "tcp 10.0.0.2 > 1.1.1.1",
        { 4, 0 },
        "udf@12 differs: the rule wants 0x0a000001/0xffffffff, the packet has 0x0a000002" },
  };
  for ( const auto & c : cases ) {
    const auto verdict = explain( c.packet, c.rule ).rule;
    EXPECT_EQ( verdict->why, c.why ) << c.packet;
    EXPECT_EQ( verdict->won, verdict->why.empty() ) << c.packet;
  }
  EXPECT_THAT( explanationText( explain( "tcp 10.0.0.2 > 1.1.1.1" ) ),
               HasSubstr( "\n  udf@12            0x0a000002\n" ) );
}

TEST( PacketTextTest, ReadsEveryWord ) {
  const std::pair< const char *, const char * > cases[] = {
      { "in 3 tcp 10.0.0.1:1024 > 192.0.2.9:443 flags syn",
        "3,- 10.0.0.1 to 192.0.2.9 class 0x00 ttl 64 protocol 6 ports 1024 to 443 flags 0x02" },
      { "udp [2001:db8::1]:1024>[2001:db8::2]:domain vlan 7 pcp 5 inner 9 dscp ef ecn 1 ttl 9",
        "-,- 2001:db8::1 to 2001:db8::2 vlan 7 priority 5 inner vlan 9 class 0xb9 ttl 9 protocol "
        "17 ports 1024 to 53" },
      { "ethertype arp smac 02:00:00:00:00:07 dmac ff:ff:ff:ff:ff:ff out Ethernet4",
        "-,Ethernet4 02:00:00:00:00:07 to ff:ff:ff:ff:ff:ff type 0x0806" },
      { "icmp echo-request 1.1.1.1 > 2.2.2.2",
        "-,- 1.1.1.1 to 2.2.2.2 class 0x00 ttl 64 protocol 1 icmp 0x0800" },
      { "icmp 3/4 1.1.1.1 > 2.2.2.2",
        "-,- 1.1.1.1 to 2.2.2.2 class 0x00 ttl 64 protocol 1 icmp 0x0304" },
      { "icmp 1.1.1.1 > 2.2.2.2 type unreachable code 4",
        "-,- 1.1.1.1 to 2.2.2.2 class 0x00 ttl 64 protocol 1 icmp 0x0304" },
      { "tcp 1.1.1.1 > 2.2.2.2 cut", "-,- 1.1.1.1 to 2.2.2.2 class 0x00 ttl 64 protocol 6" },
      { "1.1.1.1 > 2.2.2.2 icmp",
        "-,- 1.1.1.1 to 2.2.2.2 class 0x00 ttl 64 protocol 1 icmp 0x0000" },
      { "icmp echo-request ::1 > ::2", "-,- ::1 to ::2 class 0x00 ttl 64 protocol 58 icmp 0x8000" },
      { "ospf ::1 > ff02::5 fragment first",
        "-,- ::1 to ff02::5 class 0x00 ttl 64 first fragment protocol 89" },
      { "17 1.1.1.1 > 2.2.2.2 fragment later",
        "-,- 1.1.1.1 to 2.2.2.2 class 0x00 ttl 64 later fragment protocol 17" },
      { "tcp 1.1.1.1 > 2.2.2.2:0x50 flags 0x3f",
        "-,- 1.1.1.1 to 2.2.2.2 class 0x00 ttl 64 protocol 6 ports 0 to 80 flags 0x3f" },
      { "", "a packet in words is expected, e.g. \"in 3 tcp 10.0.0.1:1024 > 192.0.2.9:443\"" },
      { "tcpp 1.1.1.1 > 2.2.2.2", "unknown word tcpp; did you mean tcp?" },
      { "tcp", "the protocol needs addresses: A > B" },
      { "tcp > 1.1.1.1", "tcp is no address: A.B.C.D[:PORT] or [IPV6][:PORT] is expected" },
      { "tcp 1.1.1.1 >", "a value is expected after >" },
      { "1.1.1.1 > 2.2.2.2", "the protocol is missing: tcp, udp, icmp, another name or a number" },
      { "tcp 1.1.1.1 > ::2", "one address is IPv4, the other IPv6" },
      { "tcp 1.1.1.256 > 2.2.2.2",
        "1.1.1.256 is no address: A.B.C.D[:PORT] or [IPV6][:PORT] is expected" },
      { "tcp [::1]443 > ::2",
        "[::1]443 is no address: A.B.C.D[:PORT] or [IPV6][:PORT] is expected" },
      { "tcp 1.1.1.1:65536 > 2.2.2.2", "a port is a number from 0 to 65535, not 65536" },
      { "gre 1.1.1.1:1 > 2.2.2.2", "ports need the protocol tcp or udp" },
      { "udp 1.1.1.1 > 2.2.2.2 flags syn", "flags needs the protocol tcp" },
      { "tcp 1.1.1.1 > 2.2.2.2 flags syn,,ack",
        "there is no TCP flag \"\": fin, syn, rst, psh, ack, urg, ece, cwr with commas, or a byte "
        "are expected" },
      { "tcp 1.1.1.1:1 > 2.2.2.2 fragment later",
        "a later fragment has no ports, flags or ICMP type" },
      { "tcp udp 1.1.1.1 > 2.2.2.2", "the protocol is given twice" },
      { "in 1 in 2", "in is given twice" },
      { "vlan 4096", "vlan is a number from 0 to 4095, not 4096" },
      { "pcp 3", "pcp needs vlan" },
      { "inner 3", "inner needs vlan" },
      { "ethertype arp udp 1.1.1.1 > 2.2.2.2",
        "ethertype needs a packet without addresses: theirs gives it" },
      { "dscp ef", "dscp needs addresses: A > B" },
      { "smac 02:00", "smac 02:00: six bytes are expected, e.g. 02:00:5e:00:00:01" },
      { "icmp nd-ns 1.1.1.1 > 2.2.2.2", "nd-ns is a type of ICMPv6 only" },
      { "icmp 1.1.1.1 > 2.2.2.2 type port-unreachable code 4", "code is given twice" },
      { "icmp 8 1.1.1.1 > 2.2.2.2 type 8", "the ICMP type is given twice" },
      { "icmp 1.1.1.1 > 2.2.2.2 code 4", "code needs the ICMP type" },
      { "tcp 1.1.1.1 > 2.2.2.2 type 8", "the ICMP type needs the protocol icmp" },
      { "icmp 8/256 1.1.1.1 > 2.2.2.2", "an ICMP code is a number from 0 to 255, not 256" },
      { "fragment last", "fragment is first or later, not last" },
      { "ttl", "a value is expected after ttl" },
  };
  for ( const auto & [ words, fields ] : cases )
    EXPECT_EQ( readBack( words ), fields ) << words;
}

}  // namespace
}  // namespace Agent
