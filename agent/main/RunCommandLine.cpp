#include "agent/main/RunCommandLine.h"

#include "agent/command/Help.h"

namespace Agent {

namespace {

constexpr U32 randomMax = 10'000'000;  // all packets are in memory
constexpr U32 topMax = 1'000'000;
constexpr U32 packetRateMax = 1'000'000'000;

std::vector< std::string > formatChoices() {
  std::vector< std::string > names = { "auto" };
  for ( const AclFormat & format : aclFormats() )
    names.push_back( format.name );
  return names;
}

void addRuleOptions( CLI::App & app, RunOptions & run ) {
  app.add_option_function< std::string >(
         "--ports",
         [ &run ]( const std::string & method ) {
           run.ports = method == "auto"       ? PortMethod::automatic
                       : method == "best"     ? PortMethod::best
                       : method == "checkers" ? PortMethod::checkers
                                              : PortMethod::expand;
         },
         "How port ranges are matched: checkers, by range checkers only; expand, by prefixes; "
         "auto, by range checkers while available; best, by range checkers for the ranges that "
         "save most entries" )
      ->default_str( "auto" )
      ->check( oneOf( { "checkers", "expand", "auto", "best" } ) );
  app.add_option(
         "--police", run.police,
         "Drop packets of a rule above a rate: RULE is a number from 1, or LIST/NUMBER; RATE is "
         "bit/s, with k, M or G; BURST is bytes; repeatable" )
      ->type_name( "RULE:RATE[:BURST]" )
      ->take_all()
      ->allow_extra_args( false );
  app.add_option(
         "--bind", run.binds,
         "Bind a list to ports, in place of what its file says: all, or numbers or names of "
         "ports and LOW-HIGH with commas; packets that enter by them (in, the default) or "
         "leave by them (out); a list that was split by address family is bound whole by its name "
         "in the file; repeatable, also for one list" )
      ->type_name( "LIST=PORTS[:in|out]" )
      ->take_all()
      ->allow_extra_args( false );
  app.add_option_function< std::string >(
         "--default",
         [ &run ]( const std::string & action ) {
           run.defaultAction = action == "none"     ? Forwarding::none
                               : action == "permit" ? Forwarding::permit
                                                    : Forwarding::drop;
         },
         "Packets that no rule matches, of lists whose format does not say: permit or drop (deny), "
         "by one entry per table, or none" )
      ->default_str( "none" )
      ->check( oneOf( { "permit", "drop", "deny", "none" } ) );
}

void addReportOptions( CLI::App & app, RunOptions & run ) {
  app.add_option( "--clear", run.clears,
                  "Clear packet and byte counters after the packets, of entry:ID, user:NAME, "
                  "group:ID, unit or all; repeatable" )
      ->type_name( "WHAT" )
      ->take_all()
      ->allow_extra_args( false );
  app.add_option( "--threshold", run.thresholds,
                  "Monitor a stage's use in percent: raise an alarm at UPPER and clear it below "
                  "CLEAR (default UPPER); repeatable" )
      ->type_name( "[UNIT/]STAGE:UPPER[:CLEAR]" )
      ->take_all()
      ->allow_extra_args( false );
}

void addReaderOptions( CLI::App & app, RunOptions & run ) {
  app.add_option_function< std::string >(
         "--format", [ &run ]( const std::string & name ) { run.format = formatNamed( name ); },
         "Format of the access lists: auto, by content, or one of " + formatList() )
      ->default_str( "auto" )
      ->check( oneOf( formatChoices() ) );
  app.add_option_function< std::string >(
         "--assume-established",
         [ &run ]( const std::string & ) { run.reader.assumeEstablished = true; },
         "Take rules on the connection state ESTABLISHED for rules on TCP packets with ACK or RST: "
         "tcp-flags" )
      ->check( oneOf( { "tcp-flags" } ) );
  app.add_flag( "--partial", run.partial,
                "Run without the rules that are refused; a list of none but these has its default "
                "action; the exit status is then 1" );
}

}  // namespace

void addPlatformOption( CLI::App & app, RunOptions & run ) {
  app.add_option( "--platform", run.platform, "Built-in platform, or a platform file (JSON)" )
      ->capture_default_str();
}

void addAclOptions( CLI::App & app, RunOptions & run ) {
  addPlatformOption( app, run );
  app.add_option( "--acl", run.acls,
                  "Access list, FILE or NAME=FILE; repeatable, in order of precedence; default: "
                  "the built-in example" )
      ->take_all()
      ->allow_extra_args( false );
  addReaderOptions( app, run );
  addRuleOptions( app, run );
}

void addListArguments( CLI::App & app, RunOptions & run ) {
  app.add_option( "LIST", run.acls,
                  "Access lists, FILE or NAME=FILE, in order of precedence; default: the built-in "
                  "example" );
  addListOptions( app, run );
}

void addListOptions( CLI::App & app, RunOptions & run ) {
  addReaderOptions( app, run );
  addRuleOptions( app, run );
}

void addPacketOptions( CLI::App & app, RunOptions & run ) {
  app.add_option( "--packets", run.packets,
                  "Capture (pcap, pcapng), with its time stamps, or trace: `sip dip "
                  "sport dport proto ...` in decimal, one packet per line" )
      ->type_name( "FILE" );
  app.add_option( "--random", run.random, "Random packets generated from the rules" )
      ->type_name( "N" )
      ->capture_default_str()
      ->check( CLI::Range( 0U, randomMax ) );
  app.add_option( "--seed", run.seed, "Seed of the random packets" )
      ->type_name( "S" )
      ->capture_default_str()
      ->check( wholeNumber() );
  app.add_option( "--pps", run.packetsPerSecond,
                  "Rate of packets without time stamps (traces, random packets) on the chip's "
                  "virtual clock" )
      ->type_name( "N" )
      ->capture_default_str()
      ->check( CLI::Range( 1U, packetRateMax ) );
  app.add_option( "--ingress-port", run.ingressPort,
                  "Ingress port of the packets, a number or name; default: in turn, one port for "
                  "each set of lists and of rules on ports that packets can meet" )
      ->type_name( "PORT" );
  app.add_option( "--egress-port", run.egressPort,
                  "Egress port of the packets, likewise for lists for packets that leave" )
      ->type_name( "PORT" );
}

void addRecordOption( CLI::App & app, RunOptions & run ) {
  app.add_option( "--record", run.record,
                  "Write every SDK call with its results to a file, for the command replay" )
      ->type_name( "FILE" );
}

void addRunOptions( CLI::App & app, RunOptions & run, OutputOptions & output ) {
  addAclOptions( app, run );
  addPacketOptions( app, run );
  app.add_option_function< std::string >(
         "--show",
         [ &run, &output ]( const std::string & form ) {
           run.show = form;
           output.text.detail = form == "detail";
         },
         "Add a library report of TCAM use: summary; detail, with entries (and all rules "
         "instead of the busiest); raw, the slices; banks; capacity; entry:ID; group-dump:ID; "
         "entry-dump:ID" )
      ->type_name( "VIEW" );
  app.add_option( "--filter", output.text.filter,
                  "Show only rules with this text in their list, name, match or action, in the "
                  "table of the busiest rules (of packets) or of all rules (--show detail)" )
      ->type_name( "TEXT" );
  app.add_option( "--top", output.text.top, "Rules in the tables of the busiest and the largest" )
      ->type_name( "N" )
      ->capture_default_str()
      ->check( CLI::Range( 1U, topMax ) );
  app.add_flag( "--verify", run.verify,
                "Compare every packet on every pipe and copy with the reference model, and audit "
                "the records" );
  app.add_option( "--sdk", run.sdk,
                  "Shared library of a binding: program the lists on its SDK in place of the "
                  "software ASIC; without packets" )
      ->type_name( "LIB" );
  app.add_flag( "--json", output.json, "Write one JSON object instead of tables" );
  app.add_option( "--html", run.html,
                  "Write the report as a web page as well: one file, which needs no network" )
      ->type_name( "FILE" );
  addReportOptions( app, run );
}

}  // namespace Agent
