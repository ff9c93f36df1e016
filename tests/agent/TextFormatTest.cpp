// Access lists as text: the router command line, iptables-save and ip6tables-save.
#include <fmt/format.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <filesystem>
#include <random>

#include "agent/acl/RuleText.h"
#include "agent/read/AclFiles.h"

namespace Agent {

namespace {

using testing::HasSubstr;

AclDocument documentOf( const std::string & text, bool established = false ) {
  ReaderOptions options;
  options.assumeEstablished = established;
  return parseAclText( { "n", false }, "f", text, nullptr, options );
}

// Lists with their rules, one a line, then refusals; of a file that is refused as a whole, its
// message.
std::string readAll( const std::string & text, bool established = false ) {
  std::string result;
  try {
    const AclDocument document = documentOf( text, established );
    for ( const Acl & acl : document.lists ) {
      result += fmt::format( "{} {} default {}", acl.name, kindName( acl.kind ),
                             forwardingName( acl.defaultAction ) );
      for ( const Binding & binding : acl.bindings )
        result +=
            fmt::format( " {} {}", binding.egress ? "out" : "in", fmt::join( binding.ports, "," ) );
      result += "\n";
      for ( const AclRule & rule : acl.rules )
        result += ruleText( acl.kind, rule ) + "\n";
    }
    for ( const std::string & line : document.refusals.lines() )
      result += line + "\n";
  } catch ( const Platform::InputError & error ) {
    result = error.what();
  }
  return result;
}

struct Row {
  const char * text;
  std::string expected;  // the rule, or the column of its refusal, list, rule and reason
};

// Each row is line 2 of a list with head and end.
void expectRows( const std::string & head, const std::string & end,
                 const std::vector< Row > & rows ) {
  for ( const Row & row : rows ) {
    const std::string result = readAll( head + row.text + "\n" + end );
    const bool refused = result.find( "f:3:" ) != result.npos;
    if ( refused )
      EXPECT_THAT( result, HasSubstr( "f:3:" + row.expected ) ) << row.text;
    else
      EXPECT_THAT( result, HasSubstr( "\n" + row.expected + "\n" ) ) << row.text;
  }
}

const std::string cli4 = "ip access-list extended A\n remark first\n";
const std::string cli6 = "ipv6 access-list A\n remark first\n";
const std::string filter = "*filter\n:INPUT DROP [0:0]\n";

}  // namespace

TEST( RouterCliReaderTest, ReadsEveryPartOfAnEntry ) {
  expectRows(
      cli4, "",
      {
          { " permit ip any any", "any permit" },
          { " permit tcp host 10.0.0.1 eq www 443 10.0.0.0 0.255.0.255 gt 1023",
            "tcp 10.0.0.1:80,443 > 10.0.0.0/255.0.255.0:1024-65535 permit" },
          { " 20 deny udp 10.0.0.0/8 neq 53 any lt 3",
            "20: udp 10.0.0.0/8:0-52,54-65535 > any:0-2 drop" },
          // All ports are not any packet: fragments have none.
          { " deny tcp any range 0 65535 any", "tcp any:0-32767,32768-65535 > any drop" },
          { " permit tcp any any established log", "tcp flags +ack,+rst permit" },
          { " permit tcp any any syn rst", "tcp flags +syn,+rst permit" },
          { " permit tcp any any match-all +ack -syn", "tcp flags -syn+ack permit" },
          { " permit tcp any any match-any +ack -syn", "tcp flags +ack,-syn permit" },
          { " permit icmp any any 3 1", "icmp type 3/1 permit" },
          { " permit icmp any any echo", "icmp type 8 permit" },
          { " permit 88 any any dscp ef fragments", "eigrp fragments later dscp 46 permit" },
          { " permit ip any any precedence critical tos 9", "dscp 44 ecn 2/0x2 permit" },
          { " permit ip any any precedence 5", "dscp 40/0x38 permit" },
          { " permit ip any any ttl range 2 9", "ttl 2-9 permit" },
          { " permit ip any any ttl neq 1", "ttl 0,2-255 permit" },

          { " permit tcp 10.0.0.1 255.0.0.0 any", "22: A, rule 10: the source 10.0.0.1 has bits" },
          { " permit tcp 10.0.0.1/8 any", "13: A, rule 10: the source 10.0.0.1 has bits" },
          { " permit tcp any", "16: A, rule 10: the destination is missing" },
          { " permit tcp any 10.0.0.0", "25: A, rule 10: the wildcard mask of the destination" },
          { " permit ip any any eq 80", "23: A, rule 10: ports need" },
          { " permit gre any eq 80 any", "20: A, rule 10: ports need" },
          { " permit udp any any eq 65536", "24: A, rule 10: value 65536 is above" },
          { " permit udp any any range 9 8", "29: A, rule 10: the range 9 to 8 is empty" },
          { " permit udp any any gt 65535", "24: A, rule 10: no value is above" },
          { " permit udp any any established", "21: A, rule 10: TCP flags need" },
          { " permit tcp any any eq 80 fragments", "27: A, rule 10: later fragments have no" },
          { " permit tcp any any ack ack", "25: A, rule 10: ack is named twice" },
          { " permit ip any any dscp ef dscp ef", "33: A, rule 10: dscp is matched twice" },
          { " permit tcp any any time-range night", "21: A, rule 10: \"time-range\" is not" },
          { " permit tcp object-group web any", "13: A, rule 10: object groups" },
          { " permit tcp any addrgroup web", "17: A, rule 10: object groups" },
          { " permit foo any any", "9: A, rule 10: there is no protocol" },
          { " permitt ip any any", "2: A, rule 10: \"permitt\" where permit" },
          { " 4294967296 permit ip any any", "2: A, rule 4294967296: the sequence number" },
          { " no permit ip any any", "2: A, rule 10: \"no\" where permit" },
      } );
  expectRows( cli6, "",
              {
                  { " permit tcp 2001:db8::/32 any eq 22", "tcp 2001:db8::/32 > any:22 permit" },
                  { " sequence 5 permit ipv6 any any", "2: A, rule 10: \"sequence\" where" },
                  { " permit icmp any host ff02::1 nd-ns", "icmp6 any > ff02::1 type 135 permit" },
                  { " permit ipv6 2001:db8::1/32 any", "14: A, rule 10: the source" },
                  { " permit ipv6 10.0.0.0/8 any", "14: A, rule 10: the source" },
                  { " permit ip any any", "9: A, rule 10: there is no protocol" },
                  { " permit ipv6 any any routing", "22: A, rule 10: \"routing\" is not read" },
              } );
}

TEST( RouterCliReaderTest, ReadsAWholeConfiguration ) {
  const std::string text =
      "hostname r1\n"
      "banner motd ^C\nip access-list extended NOT\n permit ip any any\n^C\n"
      "object-group network web\n host 10.0.0.1\n"
      "interface GigabitEthernet0/1\n"
      " ip address 10.0.0.1 255.0.0.0\n ip access-group EDGE in\n ipv6 traffic-filter EDGE out\n"
      "!\n"
      "interface Vlan 7\n ip access-group 101 out\n ip access-group EDGE in\n"
      "!\n"
      "ip prefix-list P permit 10.0.0.0/8\n"
      "ip access-list extended EDGE\n permit udp any any\n"
      "no ip access-list extended EDGE\n"
      "ip access-list extended EDGE\n"
      " 30 permit tcp any any\n remark permit udp any any\n 10 deny ip host 1.1.1.1 any\n"
      " permit udp any any\n"
      "ipv6 access-list EDGE\n deny ipv6 any any\n"
      "access-list 101 permit icmp any any\n"
      "access-list 7 permit 10.1.0.0 0.0.255.255\n"
      "line vty 0 4\n access-class 7 in\n"
      "end\n";
  EXPECT_EQ( readAll( text ),
             "EDGE-ipv4 ipv4 default drop in GigabitEthernet0/1 in Vlan7\n"
             "10: 1.1.1.1 > any drop\n30: tcp permit\nudp permit\n"
             "EDGE-ipv6 ipv6 default drop out GigabitEthernet0/1\nany drop\n"
             "101 ipv4 default drop out Vlan7\nicmp permit\n" );
  EXPECT_THAT( documentOf( text ).notes,
               testing::ElementsAre( "lists that no interface has are left out: 7" ) );
  ReaderOptions options;
  options.wanted = { "7" };
  const AclDocument wanted = parseAclText( { "n", false }, "f", text, nullptr, options );
  EXPECT_EQ( wanted.lists.back().name, "7" );
  EXPECT_TRUE( wanted.notes.empty() );

  // Without indentation; a standard list; an address alone is a host.
  EXPECT_EQ( readAll( "ip access-list standard S\ndeny 10.0.0.1\npermit 10.0.0.0 0.0.0.255 log\n"
                      "ip route 0.0.0.0 0.0.0.0 10.0.0.1\naccess-list 1399 permit any\n" ),
             "S ipv4 default drop\n10.0.0.1 > any drop\n10.0.0.0/24 > any permit\n"
             "1399 ipv4 default drop\nany permit\n" );

  const std::pair< std::string, std::string > wrong[] = {
      { "ip access-list extended A\npermit tcp any any\ndney ip any any\n", "f:3:1: A, rule 20" },
      { "ip access-list extended A\ndney ip any any\npermit ip any any\n", "f:3:1: n: an entry" },
      { "ip access-list extended A\n 10 permit tcp any any\n 10 deny ip any any\n",
        "f:3:5: A, rule 10: the list has" },
      { "ip access-list standard A\n permit 10.0.0.1 dscp ef\n", "f:2:18: A, rule 10" },
      { "access-list 700 permit 1.1.1 0.0.0\n", "f:1:13: 700: only the numbers" },
      { "access-list 0 permit any\naccess-list 1 permit any\n", "f:1:13: 0: the lists begin" },
      { "access-list inside extended permit ip any any\naccess-list 1 permit any\n",
        "f:1:13: inside: the number" },
      { "mac access-list extended M\n permit any any\naccess-list 1 permit any\n",
        "f:1:5: extended M: MAC" },
      { "ip access-list extended A B\n permit ip any any\n", "f:1:27: A: \"B\" is not" },
      { "interface e1\n ip access-group A in\naccess-list 1 permit any\n",
        "f:2:5: A: the list is bound" },
      { "interface range e1 - 4\n ip access-group 1 in\naccess-list 1 permit any\n",
        "f:2:20: 1: ranges" },
      { "interface e1\n ip access-group 1 up\naccess-list 1 permit any\n", "f:2:20: 1: \"up\"" },
      { "access-list 1 permit any\nbanner motd #hello\n", "f:2:1: the banner does not end" },
      { "ip access-list extended A\n remark nothing\n", "f: there are no access lists" },
  };
  for ( const auto & [ document, message ] : wrong )
    EXPECT_THAT( readAll( document ), HasSubstr( message ) ) << document;
}

TEST( IptablesReaderTest, ReadsEveryPartOfARule ) {
  expectRows(
      filter, "COMMIT\n",
      {
          { "-A INPUT -p all -s 10.0.0.0/8 -d 10.0.0.0/255.0.255.0 -j ACCEPT",
            "10.0.0.0/8 > 10.0.0.0/255.0.255.0 permit" },
          { "-A INPUT ! -s 192.0.0.0/2 -j DROP", "0.0.0.0/1,128.0.0.0/2 > any drop" },
          { "-A INPUT -s 10.0.0.1,10.0.0.3 -j REJECT --reject-with tcp-reset",
            "10.0.0.1,10.0.0.3 > any drop" },
          { "-A INPUT -m iprange --src-range 10.0.0.1-10.0.0.4 -j DROP",
            "10.0.0.1,10.0.0.2/31,10.0.0.4 > any drop" },
          { "-A INPUT -m iprange ! --dst-range 64.0.0.0-255.255.255.255 -j DROP",
            "any > 0.0.0.0/2 drop" },
          { "[1:9] -A INPUT -p tcp -m tcp --sport 0:65535 ! --dport 80:90 -m comment --comment "
            "\"-j DROP \\\" \" -j ACCEPT",
            "tcp any:0-32767,32768-65535 > any:0-79,91-65535 permit" },
          { "-A INPUT -p udp -m multiport --dports 53,67:68 -j ACCEPT",
            "udp any > any:53,67-68 permit" },
          { "-A INPUT -p udp -m multiport --ports 53 -j ACCEPT",
            "udp any:53 > any permit\nudp any > any:53 permit" },
          { "-A INPUT -p udp -m multiport ! --ports 1:65535 -j ACCEPT",
            "udp any:0 > any:0 permit" },
          { "-A INPUT -p tcp --syn -j ACCEPT", "tcp flags -fin+syn-rst-ack permit" },
          { "-A INPUT -p tcp ! --tcp-flags SYN,ACK SYN -j DROP", "tcp flags +ack,-syn-ack drop" },
          { "-A INPUT -p tcp --tcp-flags NONE NONE -j DROP", "tcp flags -cwr,+cwr drop" },
          { "-A INPUT -p icmp -m icmp --icmp-type 3/4 -j DROP", "icmp type 3/4 drop" },
          { "-A INPUT -p icmp --icmp-type ttl-exceeded -j DROP", "icmp type 11 drop" },
          { "-A INPUT -f -j DROP", "fragments later drop" },
          { "-A INPUT ! -f -j DROP", "fragments notLater drop" },
          { "-A INPUT -m mac --mac-source 02:00:00:00:00:01 -j DROP",
            "smac 02:00:00:00:00:01 drop" },
          { "-A INPUT -m ttl --ttl-lt 2 -m dscp --dscp 0x2e -j DROP", "dscp 46 ttl 0-1 drop" },
          { "-A INPUT ! -i lo -p esp -j DROP", "esp drop" },

          { "-A INPUT -s 10.0.0.1/8 -j ACCEPT", "13: INPUT, rule 1: 10.0.0.1 has bits" },
          { "-A INPUT -s 10.0.0.0/ -j DROP", "13: INPUT, rule 1: \"\" is not" },
          { "-A INPUT ! -s 0.0.0.0/0 -j ACCEPT", "15: INPUT, rule 1: no packet" },
          { "-A INPUT -s 2001:db8::1,1.1.1.1 -j ACCEPT", "13: INPUT, rule 1: " },
          { "-A INPUT -p tcp --dport 80, -j ACCEPT", "25: INPUT, rule 1: port \"80,\"" },
          { "-A INPUT --dport 80 -j ACCEPT", "24: INPUT, rule 1: destinationPorts needs -p" },
          { "-A INPUT ! -p tcp --dport 80 -j ACCEPT", "33: INPUT, rule 1: destinationPorts" },
          { "-A INPUT -p icmpv6 --icmp-type 8 -j ACCEPT", "37: INPUT, rule 1: icmp needs" },
          { "-A INPUT -p tcp -m multiport --dports 1,2,3,4,5,6,7,8:9,10,11,12,13,14,15,16 -j DROP",
            "39: INPUT, rule 1: more than 15" },
          { "-A INPUT -p tcp --tcp-flags SYN ACK -j DROP", "33: INPUT, rule 1: no packet" },
          { "-A INPUT -p tcp -f --dport 1 -j DROP", "33: INPUT, rule 1: later fragments" },
          { "-A INPUT -p tcp -m udp --dport 53 -j DROP", "38: INPUT, rule 1: -m udp needs -p udp" },
          { "-A INPUT -m icmp -j DROP", "21: INPUT, rule 1: -m icmp needs -p icmp" },
          { "-A INPUT -m limit --limit 5/min -j ACCEPT", "13: INPUT, rule 1: the match limit" },
          { "-A INPUT -m recent --rcheck -j DROP", "13: INPUT, rule 1: the match recent" },
          { "-A INPUT -i eth0 -j ACCEPT", "13: INPUT, rule 1: rules for one interface" },
          { "-A INPUT -m state --state RELATED -j DROP", "27: INPUT, rule 1: the state RELATED" },
          { "-A INPUT -j MASQUERADE", "13: INPUT, rule 1: MASQUERADE is neither" },
          { "-A INPUT -g nowhere", "13: INPUT, rule 1: there is no chain" },
          { "-A INPUT -m comment --comment \"open -j DROP", "31: INPUT, rule 1: the quoted text" },
          { "-A INPUT -p tcp ! -j DROP", "19: INPUT, rule 1: the option -j cannot" },
          { "-A OTHER -j DROP", "4: table filter: there is no chain" },
          { "-D INPUT 1", "1: table filter: \"-D\" is not read" },
      } );
}

TEST( IptablesReaderTest, TakesEstablishedForFlagsOnlyIfAsked ) {
  const std::string rule = "-A INPUT -m conntrack --ctstate ESTABLISHED";
  const auto read = [ & ]( const std::string & rest, bool assumed ) {
    return readAll( filter + rule + rest + "\nCOMMIT\n", assumed );
  };
  EXPECT_THAT( read( " -j ACCEPT", false ), HasSubstr( "f:3:33: INPUT, rule 1: the state" ) );
  EXPECT_THAT( read( " -j ACCEPT", true ), HasSubstr( "tcp flags +ack,+rst permit" ) );
  EXPECT_THAT( read( " -p tcp --tcp-flags SYN SYN -j DROP", true ),
               HasSubstr( "flags +syn+ack,+syn+rst drop" ) );
  EXPECT_THAT( read( " -j DROP", true ), HasSubstr( "ESTABLISHED needs -p tcp" ) );
  EXPECT_THAT( read( ",RELATED -j ACCEPT", true ), HasSubstr( "the state RELATED" ) );
  EXPECT_THAT( documentOf( filter + rule + " -j ACCEPT\nCOMMIT\n", true ).notes,
               testing::Contains( HasSubstr( "--assume-established" ) ) );
}

namespace {

// What the chains of a table do to a packet, rule by rule: a second reading of their meaning.
struct Step {
  U32 value;  // bits of the first byte of the source that the rule looks at, as a prefix of it
  U32 length;
  std::string target;
};
using Chains = std::map< std::string, std::vector< Step > >;

enum class Decision { undecided, permit, drop };

Decision walk( const Chains & chains, const std::string & name, U32 byte ) {
  for ( const Step & step : chains.at( name ) ) {
    if ( step.length != 0 && byte >> ( 8 - step.length ) != step.value >> ( 8 - step.length ) )
      continue;
    if ( step.target == "-j ACCEPT" || step.target == "-j DROP" )
      return step.target == "-j DROP" ? Decision::drop : Decision::permit;
    if ( step.target == "-j RETURN" )
      return Decision::undecided;
    const Decision fate = walk( chains, step.target.substr( 3 ), byte );
    if ( fate != Decision::undecided || step.target.starts_with( "-g" ) )
      return fate;
  }
  return Decision::undecided;
}

Decision lookUp( const Acl & acl, U32 byte ) {
  for ( const AclRule & rule : acl.rules )
    if ( ( ( byte << 24 ^ rule.source.value ) & rule.source.mask ) == 0 )
      return rule.forwarding == Forwarding::drop ? Decision::drop : Decision::permit;
  return acl.defaultAction == Forwarding::drop ? Decision::drop : Decision::permit;
}

}  // namespace

// Random chains that call, go to and return from each other mean the same packet by packet.
TEST( IptablesReaderTest, FlattensChainsWithTheirMeaning ) {
  std::mt19937 random( 1 );
  const auto below = [ & ]( U32 end ) { return static_cast< U32 >( random() % end ); };
  for ( int round = 0; round < 200; ++round ) {
    Chains chains;
    std::string text = "*filter\n:INPUT DROP\n:a -\n:b -\n:c -\n";
    const std::vector< std::string > names = { "INPUT", "a", "b", "c" };
    for ( U32 chain = 0; chain < 4; ++chain ) {
      for ( U32 rule = 0; rule < 1 + below( 5 ); ++rule ) {
        std::vector< std::string > targets = { "-j ACCEPT", "-j DROP", "-j RETURN" };
        for ( U32 callee = chain + 1; callee < 4; ++callee )
          targets.insert( targets.end(), { "-j " + names[ callee ], "-g " + names[ callee ] } );
        const U32 length = below( 4 );
        const U32 value = length == 0 ? 0 : below( 1U << length ) << ( 8 - length );
        const std::string target = targets[ below( static_cast< U32 >( targets.size() ) ) ];
        chains[ names[ chain ] ].push_back( { value, length, target } );
        text += fmt::format( "-A {} -s {}.0.0.0/{} {}\n", names[ chain ], value, length, target );
      }
    }
    const AclDocument document = documentOf( text + "COMMIT\n" );
    ASSERT_EQ( document.lists.size(), 1U ) << text;
    for ( U32 byte = 0; byte < 256; ++byte ) {
      const Decision fate = walk( chains, "INPUT", byte );
      ASSERT_EQ( lookUp( document.lists[ 0 ], byte ),
                 fate == Decision::undecided ? Decision::drop : fate )
          << text << byte;
    }
  }
}

TEST( IptablesReaderTest, BoundsTheGrowthOfFlattenedChains ) {
  std::string twice = filter;
  for ( int i = 0; i < 40; ++i )
    twice += fmt::format( ":c{} -\n", i );
  for ( int i = 0; i < 39; ++i )
    twice +=
        fmt::format( "-A c{0} -s 10.0.0.0/8 -j c{1}\n-A c{0} -d 10.0.0.0/8 -j c{1}\n", i, i + 1 );
  twice += "-A c39 -p tcp -j DROP\n-A INPUT -j c0\nCOMMIT\n";
  EXPECT_THAT( readAll( twice ), HasSubstr( "f:2:1: INPUT: with the chains that it calls" ) );

  std::string returns = filter + ":c -\n-A c -s 10.0.0.0/8 -j RETURN\n-A c -p udp -j DROP\n";
  for ( int i = 0; i < 100; ++i )
    returns += "-A INPUT -j c\n";
  EXPECT_THAT( readAll( returns + "COMMIT\n" ), HasSubstr( "f:2:1: INPUT: " ) );

  std::string deep = filter;
  for ( int i = 0; i < 1000; ++i )
    deep += fmt::format( ":d{} -\n", i );
  for ( int i = 0; i < 999; ++i )
    deep += fmt::format( "-A d{} -j d{}\n", i, i + 1 );
  EXPECT_THAT( readAll( deep + "-A d999 -j DROP\n-A INPUT -j d0\nCOMMIT\n" ), HasSubstr( "deep" ) );

  EXPECT_THAT(
      readAll( filter + ":a -\n:b -\n-A a -p tcp -j b\n-A b -g a\n-A INPUT -j a\nCOMMIT\n" ),
      HasSubstr( "f:6:4: b: the call of a closes a loop" ) );
}

TEST( IptablesReaderTest, ReadsTablesAndChains ) {
  EXPECT_EQ( readAll( "# Generated by ip6tables-save v1.8.9\r\n*raw\r\n:OUTPUT ACCEPT [0:0]\r\n"
                      "COMMIT\r\n*filter\r\n:INPUT ACCEPT [0:0]\r\n:FORWARD DROP [0:0]\r\n"
                      ":OUTPUT DROP [0:0]\r\n-A FORWARD -i lo -j ACCEPT\r\n"
                      "-A OUTPUT -p ipv6-icmp -m icmp6 --icmpv6-type 135 -j ACCEPT\r\nCOMMIT\r\n" ),
             "FORWARD ipv6 default drop\n"
             "OUTPUT ipv6 default drop out \nicmp6 type 135 permit\n" );
  const std::pair< std::string, std::string > wrong[] = {
      { "*nat\n-A POSTROUTING -j MASQUERADE\nCOMMIT\n*filter\n:INPUT DROP\nCOMMIT\n",
        "f:1:1: table nat: only the filter table" },
      { "*filter\n:INPUT DROP\n-A INPUT -j ACCEPT\n", "f:1:1: the table filter has no COMMIT" },
      { "-A INPUT -j DROP\n", "f:1:1: a line outside of a table" },
      { "*filter\n:INPUT QUEUE\nCOMMIT\n", "f:2:8: table filter: the policy QUEUE" },
      { "*filter\n:INPUT DROP [0:0] ACCEPT\nCOMMIT\n", "f:2:19: table filter: \"ACCEPT\" where" },
      { filter + "COMMIT\n*filter\n", "f:4:1: the filter table occurs twice" },
      { "*filter\n:INPUT DROP\n-A INPUT -j \xFF\nCOMMIT\n", "f:3:13: INPUT, rule 1" },
  };
  for ( const auto & [ document, message ] : wrong )
    EXPECT_THAT( readAll( document ), HasSubstr( message ) ) << document;
}

// Every prefix of a document is read or refused; only complete lines may be rules.
TEST( TextFormatTest, SurvivesDamagedDocuments ) {
  const std::string cli = cli4 + " permit tcp any host 10.0.0.1 eq 80\n 40 deny ip any any log\n";
  const std::string tables = filter +
                             ":c -\n-A c -p tcp -m multiport --dports 1,2 -j ACCEPT\n"
                             "-A INPUT -m comment --comment \"a b\" -j c\nCOMMIT\n";
  for ( const std::string & text : { cli, tables } ) {
    const std::string whole = readAll( text );
    for ( size_t size = 0; size < text.size(); ++size )
      for ( const char * damage : { "", "\xFF", "\"", " ! " } )
        readAll( text.substr( 0, size ) + damage + text.substr( size ) );
    std::string crlf = "\xEF\xBB\xBF" + text;
    for ( size_t at = crlf.find( '\n' ); at != crlf.npos; at = crlf.find( '\n', at + 2 ) )
      crlf.insert( at, "\r" );
    EXPECT_EQ( readAll( crlf ), whole );
    EXPECT_THAT( readAll( text + std::string( 1, '\0' ) ), HasSubstr( "a NUL byte" ) );
    const std::string wide = std::string( 1 << 20, 'x' );
    EXPECT_THAT( readAll( text + " permit tcp any " + wide ), HasSubstr( "f:" ) );
    EXPECT_THAT( readAll( text + " permit tcp any eq" + std::string( 1 << 20, ' ' ) + "1" ),
                 HasSubstr( "f:" ) );
  }
  std::string many = cli4;
  std::string rules = filter;
  for ( int i = 0; i < 100000; ++i ) {
    many +=
        fmt::format( " {} permit ip host 10.{}.{}.1 any\n", 100000 - i, i / 256 % 256, i % 256 );
    rules += fmt::format( "-A INPUT -s 10.{}.{}.1 -j ACCEPT\n", i / 256 % 256, i % 256 );
  }
  EXPECT_EQ( documentOf( many ).lists.at( 0 ).rules.front().name, "1" );
  EXPECT_EQ( documentOf( rules + "COMMIT\n" ).lists.at( 0 ).rules.size(), 100000U );
}

TEST( TextFormatTest, ReadsRealDocuments ) {
  const std::filesystem::path data = MORVANE_TEST_DATA;
  if ( !std::filesystem::exists( data / "ios-acl" ) )
    GTEST_SKIP() << "the documents are absent";
  const auto shape = [ & ]( const char * file ) {
    const AclDocument document = readAclFile( { "n", false }, data / file, nullptr );
    std::string text;
    for ( const Acl & acl : document.lists )
      text += fmt::format( "{} {}, ", acl.name, acl.rules.size() );
    return text + std::to_string( document.refusals.count() );
  };
  EXPECT_EQ( shape( "ios-acl/sample_cisco_lab.acl" ), "allowtointernet 15, 0" );
  EXPECT_EQ( shape( "ios-acl/sample_multitarget.acl" ),
             "edge-inbound 43, ipv6-edge-inbound 25, edge-outbound 15, ipv6-edge-outbound 24, 0" );
  // All rules on connection states are refused.
  EXPECT_EQ( shape( "iptables/sample_multitarget.ipt" ), "INPUT 21, OUTPUT 20, 15" );
}

}  // namespace Agent
