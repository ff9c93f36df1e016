#include "agent/acl/Names.h"

#include <algorithm>
#include <cctype>
#include <iterator>

namespace Agent {

namespace {

template < class T >
struct Name {
  std::string_view name;
  T value;
};

constexpr Name< U8 > protocols[] = {
    { "icmp", 1 },        { "igmp", 2 },         { "ipip", 4 },
    { "ipinip", 4 },      { "ip-in-ip", 4 },     { "ipencap", 4 },
    { "tcp", 6 },         { "egp", 8 },          { "igp", 9 },
    { "igrp", 9 },        { "pup", 12 },         { "udp", 17 },
    { "hmp", 20 },        { "xns-idp", 22 },     { "rdp", 27 },
    { "iso-tp4", 29 },    { "dccp", 33 },        { "xtp", 36 },
    { "ddp", 37 },        { "idpr-cmtp", 38 },   { "ipv6", 41 },
    { "ipv6-route", 43 }, { "ipv6-frag", 44 },   { "idrp", 45 },
    { "rsvp", 46 },       { "gre", 47 },         { "esp", 50 },
    { "ipsec-esp", 50 },  { "ah", 51 },          { "ahp", 51 },
    { "auth", 51 },       { "ipsec-ah", 51 },    { "skip", 57 },
    { "icmp6", 58 },      { "icmpv6", 58 },      { "ipv6-icmp", 58 },
    { "ipv6-nonxt", 59 }, { "ipv6-opts", 60 },   { "rspf", 73 },
    { "vmtp", 81 },       { "eigrp", 88 },       { "ospf", 89 },
    { "ospfigp", 89 },    { "ax.25", 93 },       { "nos", 94 },
    { "etherip", 97 },    { "encap", 98 },       { "pim", 103 },
    { "ipcomp", 108 },    { "pcp", 108 },        { "vrrp", 112 },
    { "carp", 112 },      { "l2tp", 115 },       { "isis", 124 },
    { "sctp", 132 },      { "fc", 133 },         { "mobility-header", 135 },
    { "udplite", 136 },   { "mpls-in-ip", 137 }, { "manet", 138 },
    { "shim6", 140 },     { "wesp", 141 },       { "rohc", 142 },
};

constexpr U16 anyCode = 0x100;  // in place of a code

struct IcmpName {
  std::string_view name;
  U8 type;
  U16 code;
};

constexpr IcmpName icmpTypes[] = {
    { "echo-reply", 0, anyCode },
    { "pong", 0, anyCode },
    { "unreachable", 3, anyCode },
    { "destination-unreachable", 3, anyCode },
    { "dst-unreachable", 3, anyCode },
    { "net-unreachable", 3, 0 },
    { "network-unreachable", 3, 0 },
    { "host-unreachable", 3, 1 },
    { "protocol-unreachable", 3, 2 },
    { "port-unreachable", 3, 3 },
    { "packet-too-big", 3, 4 },
    { "fragmentation-needed", 3, 4 },
    { "source-route-failed", 3, 5 },
    { "network-unknown", 3, 6 },
    { "host-unknown", 3, 7 },
    { "host-isolated", 3, 8 },
    { "dod-net-prohibited", 3, 9 },
    { "network-prohibited", 3, 9 },
    { "dod-host-prohibited", 3, 10 },
    { "host-prohibited", 3, 10 },
    { "net-tos-unreachable", 3, 11 },
    { "tos-network-unreachable", 3, 11 },
    { "host-tos-unreachable", 3, 12 },
    { "tos-host-unreachable", 3, 12 },
    { "administratively-prohibited", 3, 13 },
    { "communication-prohibited", 3, 13 },
    { "host-precedence-unreachable", 3, 14 },
    { "host-precedence-violation", 3, 14 },
    { "precedence-unreachable", 3, 15 },
    { "precedence-cutoff", 3, 15 },
    { "source-quench", 4, anyCode },
    { "redirect", 5, anyCode },
    { "net-redirect", 5, 0 },
    { "network-redirect", 5, 0 },
    { "host-redirect", 5, 1 },
    { "net-tos-redirect", 5, 2 },
    { "tos-network-redirect", 5, 2 },
    { "host-tos-redirect", 5, 3 },
    { "tos-host-redirect", 5, 3 },
    { "alternate-address", 6, anyCode },
    { "echo", 8, anyCode },
    { "echo-request", 8, anyCode },
    { "ping", 8, anyCode },
    { "router-advertisement", 9, anyCode },
    { "router-solicitation", 10, anyCode },
    { "time-exceeded", 11, anyCode },
    { "ttl-exceeded", 11, 0 },
    { "ttl-zero-during-transit", 11, 0 },
    { "reassembly-timeout", 11, 1 },
    { "ttl-zero-during-reassembly", 11, 1 },
    { "parameter-problem", 12, anyCode },
    { "general-parameter-problem", 12, 0 },
    { "ip-header-bad", 12, 0 },
    { "option-missing", 12, 1 },
    { "required-option-missing", 12, 1 },
    { "no-room-for-option", 12, 2 },
    { "timestamp", 13, anyCode },
    { "timestamp-request", 13, anyCode },
    { "timestamp-reply", 14, anyCode },
    { "information-request", 15, anyCode },
    { "information-reply", 16, anyCode },
    { "mask-request", 17, anyCode },
    { "address-mask-request", 17, anyCode },
    { "mask-reply", 18, anyCode },
    { "address-mask-reply", 18, anyCode },
    { "traceroute", 30, anyCode },
    { "conversion-error", 31, anyCode },
    { "dod-conversion-error", 31, anyCode },
    { "mobile-redirect", 32, anyCode },
    { "mobile-host-redirect", 32, anyCode },
};

constexpr IcmpName icmp6Types[] = {
    { "unreachable", 1, anyCode },
    { "destination-unreachable", 1, anyCode },
    { "dst-unreachable", 1, anyCode },
    { "no-route", 1, 0 },
    { "no-admin", 1, 1 },
    { "communication-prohibited", 1, 1 },
    { "administratively-prohibited", 1, 1 },
    { "beyond-scope", 1, 2 },
    { "address-unreachable", 1, 3 },
    { "port-unreachable", 1, 4 },
    { "failed-policy", 1, 5 },
    { "reject-route", 1, 6 },
    { "packet-too-big", 2, anyCode },
    { "too-big", 2, anyCode },
    { "time-exceeded", 3, anyCode },
    { "ttl-exceeded", 3, anyCode },
    { "hop-limit", 3, 0 },
    { "ttl-zero-during-transit", 3, 0 },
    { "reassembly-timeout", 3, 1 },
    { "ttl-zero-during-reassembly", 3, 1 },
    { "parameter-problem", 4, anyCode },
    { "header", 4, 0 },
    { "bad-header", 4, 0 },
    { "next-header", 4, 1 },
    { "unknown-header-type", 4, 1 },
    { "parameter-option", 4, 2 },
    { "unknown-option", 4, 2 },
    { "echo", 128, anyCode },
    { "echo-request", 128, anyCode },
    { "ping", 128, anyCode },
    { "echo-reply", 129, anyCode },
    { "pong", 129, anyCode },
    { "mld-query", 130, anyCode },
    { "multicast-listener-query", 130, anyCode },
    { "mld-report", 131, anyCode },
    { "multicast-listener-report", 131, anyCode },
    { "mld-reduction", 132, anyCode },
    { "mld-done", 132, anyCode },
    { "multicast-listener-done", 132, anyCode },
    { "router-solicitation", 133, anyCode },
    { "router-solicit", 133, anyCode },
    { "router-advertisement", 134, anyCode },
    { "nd-ns", 135, anyCode },
    { "neighbor-solicitation", 135, anyCode },
    { "neighbor-solicit", 135, anyCode },
    { "neighbour-solicitation", 135, anyCode },
    { "nd-na", 136, anyCode },
    { "neighbor-advertisement", 136, anyCode },
    { "neighbor-advertise", 136, anyCode },
    { "neighbour-advertisement", 136, anyCode },
    { "redirect", 137, anyCode },
    { "redirect-message", 137, anyCode },
    { "renum-command", 138, 0 },
    { "renum-result", 138, 1 },
    { "renum-seq-number", 138, 255 },
    { "router-renumbering", 138, anyCode },
    { "inverse-neighbor-discovery-solicitation", 141, anyCode },
    { "inverse-neighbor-discovery-advertisement", 142, anyCode },
    { "version-2-multicast-listener-report", 143, anyCode },
    { "mldv2-report", 143, anyCode },
    { "mldv2", 143, anyCode },
    { "dhaad-request", 144, anyCode },
    { "dhaad-reply", 145, anyCode },
    { "mpd-solicitation", 146, anyCode },
    { "mpd-advertisement", 147, anyCode },
    { "certification-path-solicitation", 148, anyCode },
    { "certification-path-advertisement", 149, anyCode },
};

constexpr Name< U16 > ports[] = {
    { "tcpmux", 1 },
    { "echo", 7 },
    { "discard", 9 },
    { "systat", 11 },
    { "daytime", 13 },
    { "netstat", 15 },
    { "qotd", 17 },
    { "chargen", 19 },
    { "ftp-data", 20 },
    { "ftp", 21 },
    { "ssh", 22 },
    { "telnet", 23 },
    { "smtp", 25 },
    { "mail", 25 },
    { "time", 37 },
    { "nameserver", 42 },
    { "whois", 43 },
    { "nicname", 43 },
    { "tacacs", 49 },
    { "domain", 53 },
    { "dns", 53 },
    { "bootps", 67 },
    { "bootpc", 68 },
    { "tftp", 69 },
    { "gopher", 70 },
    { "finger", 79 },
    { "www", 80 },
    { "http", 80 },
    { "kerberos", 88 },
    { "kerberos-sec", 88 },
    { "hostname", 101 },
    { "hostnames", 101 },
    { "iso-tsap", 102 },
    { "csnet-ns", 105 },
    { "pop2", 109 },
    { "pop3", 110 },
    { "sunrpc", 111 },
    { "rpcbind", 111 },
    { "portmapper", 111 },
    { "ident", 113 },
    { "sftp", 115 },
    { "uucp-path", 117 },
    { "nntp", 119 },
    { "ntp", 123 },
    { "msrpc", 135 },
    { "epmap", 135 },
    { "netbios-ns", 137 },
    { "netbios-dgm", 138 },
    { "netbios-ss", 139 },
    { "netbios-ssn", 139 },
    { "imap", 143 },
    { "imap2", 143 },
    { "imap4", 143 },
    { "snmp", 161 },
    { "snmptrap", 162 },
    { "snmp-trap", 162 },
    { "xdmcp", 177 },
    { "bgp", 179 },
    { "irc", 194 },
    { "dnsix", 195 },
    { "smux", 199 },
    { "imap3", 220 },
    { "ldap", 389 },
    { "svrloc", 427 },
    { "mobile-ip", 434 },
    { "https", 443 },
    { "snpp", 444 },
    { "microsoft-ds", 445 },
    { "kpasswd", 464 },
    { "urd", 465 },
    { "smtps", 465 },
    { "submissions", 465 },
    { "isakmp", 500 },
    { "pim-auto-rp", 496 },
    { "exec", 512 },
    { "biff", 512 },
    { "login", 513 },
    { "who", 513 },
    { "cmd", 514 },
    { "shell", 514 },
    { "syslog", 514 },
    { "lpd", 515 },
    { "printer", 515 },
    { "talk", 517 },
    { "ntalk", 518 },
    { "rip", 520 },
    { "router", 520 },
    { "ripng", 521 },
    { "timed", 525 },
    { "uucp", 540 },
    { "klogin", 543 },
    { "kshell", 544 },
    { "dhcpv6-client", 546 },
    { "dhcpv6-server", 547 },
    { "rtsp", 554 },
    { "nntps", 563 },
    { "submission", 587 },
    { "ipp", 631 },
    { "ldaps", 636 },
    { "ldp", 646 },
    { "msdp", 639 },
    { "rsync", 873 },
    { "ftps-data", 989 },
    { "ftps", 990 },
    { "telnets", 992 },
    { "imaps", 993 },
    { "pop3s", 995 },
    { "socks", 1080 },
    { "openvpn", 1194 },
    { "ms-sql-s", 1433 },
    { "ms-sql-m", 1434 },
    { "citrix-ica", 1494 },
    { "sqlnet", 1521 },
    { "radius", 1812 },
    { "radius-acct", 1813 },
    { "l2tp", 1701 },
    { "h323", 1720 },
    { "pptp", 1723 },
    { "hsrp", 1985 },
    { "nfs", 2049 },
    { "ctiqbe", 2748 },
    { "mysql", 3306 },
    { "ms-wbt-server", 3389 },
    { "rdp", 3389 },
    { "svn", 3690 },
    { "bfd", 3784 },
    { "bfd-echo", 3785 },
    { "non500-isakmp", 4500 },
    { "ipsec-nat-t", 4500 },
    { "sip", 5060 },
    { "sip-tls", 5061 },
    { "xmpp-client", 5222 },
    { "xmpp-server", 5269 },
    { "aol", 5190 },
    { "mdns", 5353 },
    { "postgresql", 5432 },
    { "pcanywhere-data", 5631 },
    { "pcanywhere-status", 5632 },
    { "vnc", 5900 },
    { "x11", 6000 },
    { "redis", 6379 },
    { "ircd", 6667 },
    { "http-alt", 8080 },
    { "webcache", 8080 },
    { "https-alt", 8443 },
    { "secureid-udp", 5510 },
    { "vxlan", 4789 },
    { "drip", 3949 },
    { "onep-plain", 15001 },
    { "onep-tls", 15002 },
};

constexpr Name< U8 > dscps[] = {
    { "default", 0 }, { "be", 0 },    { "df", 0 },    { "le", 1 },           { "cs0", 0 },
    { "cs1", 8 },     { "af11", 10 }, { "af12", 12 }, { "af13", 14 },        { "cs2", 16 },
    { "af21", 18 },   { "af22", 20 }, { "af23", 22 }, { "cs3", 24 },         { "af31", 26 },
    { "af32", 28 },   { "af33", 30 }, { "cs4", 32 },  { "af41", 34 },        { "af42", 36 },
    { "af43", 38 },   { "cs5", 40 },  { "va", 44 },   { "voice-admit", 44 }, { "ef", 46 },
    { "cs6", 48 },    { "cs7", 56 },
};

constexpr Name< U16 > etherTypes[] = {
    { "ipv4", 0x0800 },     { "ip", 0x0800 },
    { "arp", 0x0806 },      { "trill", 0x22F3 },
    { "rarp", 0x8035 },     { "vlan", 0x8100 },
    { "ipx", 0x8137 },      { "ipv6", 0x86DD },
    { "slow", 0x8809 },     { "lacp", 0x8809 },
    { "mpls", 0x8847 },     { "mpls-multicast", 0x8848 },
    { "pppoe", 0x8864 },    { "pppoe-discovery", 0x8863 },
    { "eapol", 0x888E },    { "qinq", 0x88A8 },
    { "roce", 0x8915 },     { "lldp", 0x88CC },
    { "ptp", 0x88F7 },      { "cfm", 0x8902 },
    { "fcoe", 0x8906 },     { "macsec", 0x88E5 },
    { "loopback", 0x9000 }, { "profinet", 0x8892 },
};

constexpr Name< U8 > tcpFlags[] = {
    { "fin", 0x01 }, { "syn", 0x02 }, { "rst", 0x04 }, { "psh", 0x08 },
    { "ack", 0x10 }, { "urg", 0x20 }, { "ece", 0x40 }, { "cwr", 0x80 },
};

bool sameName( std::string_view known, std::string_view name ) {
  return std::equal(
      known.begin(), known.end(), name.begin(), name.end(),
      []( char a, char b ) {
        return a == ( b == '_' ? '-' : std::tolower( static_cast< unsigned char >( b ) ) );
      } );
}

template < class Table >
auto find( const Table & table, std::string_view name ) {
  const auto found =
      std::find_if( std::begin( table ), std::end( table ),
                    [ & ]( const auto & row ) { return sameName( row.name, name ); } );
  return found == std::end( table ) ? nullptr : &*found;
}

template < class T, size_t size >
std::optional< T > valueOf( const Name< T > ( &table )[ size ], std::string_view name ) {
  const Name< T > * row = find( table, name );
  return row == nullptr ? std::nullopt : std::optional( row->value );
}

template < class Table >
std::vector< std::string_view > namesOf( const Table & table ) {
  std::vector< std::string_view > names;
  names.reserve( std::size( table ) );
  for ( const auto & row : table )
    names.push_back( row.name );
  return names;
}

}  // namespace

std::optional< U8 > protocolFromText( std::string_view name ) {
  return valueOf( protocols, name );
}

std::string protocolText( U8 protocol ) {
  const auto * row = std::find_if( std::begin( protocols ), std::end( protocols ),
                                   [ & ]( const auto & p ) { return p.value == protocol; } );
  return row == std::end( protocols ) ? std::to_string( protocol ) : std::string( row->name );
}

std::optional< FieldMatch< U16 > > icmpTypeFromText( AclKind kind, std::string_view name ) {
  const IcmpName * row = kind == AclKind::ipv6 ? find( icmp6Types, name ) : find( icmpTypes, name );
  if ( row == nullptr )
    return std::nullopt;
  const auto type = static_cast< U16 >( row->type << 8 );
  if ( row->code == anyCode )
    return FieldMatch< U16 >{ type, 0xFF00 };
  return FieldMatch< U16 >{ static_cast< U16 >( type | row->code ), 0xFFFF };
}

std::optional< U16 > portFromText( std::string_view name ) {
  return valueOf( ports, name );
}

std::optional< U8 > dscpFromText( std::string_view name ) {
  return valueOf( dscps, name );
}

std::optional< U16 > etherTypeFromText( std::string_view name ) {
  return valueOf( etherTypes, name );
}

std::optional< U8 > tcpFlagFromText( std::string_view name ) {
  return valueOf( tcpFlags, name );
}

std::vector< std::string_view > protocolNames() {
  return namesOf( protocols );
}

std::vector< std::string_view > icmpTypeNames( AclKind kind ) {
  return kind == AclKind::ipv6 ? namesOf( icmp6Types ) : namesOf( icmpTypes );
}

std::vector< std::string_view > serviceNames() {
  return namesOf( ports );
}

std::vector< std::string_view > dscpNames() {
  return namesOf( dscps );
}

std::vector< std::string_view > etherTypeNames() {
  return namesOf( etherTypes );
}

std::vector< std::string_view > tcpFlagNames() {
  return namesOf( tcpFlags );
}

}  // namespace Agent
