#include "sdkrecord/Recording.h"

#include <fmt/format.h>

#include <algorithm>

#include "sdkrecord/ChipText.h"

namespace SdkRecord {

namespace {

constexpr std::string_view firstLine = "sdk-record 1";

void addLeaves( std::string & text, const std::vector< Leaf > & leaves ) {
  for ( const Leaf & leaf : leaves )
    if ( !leaf.optional || !leaf.isZero() )
      text += fmt::format( " {}={}", leaf.path, leaf.text() );
}

std::vector< Leaf > packetLeaves( U32 & unit, PacketIn & packet ) {
  return { { "unit", numberAt( unit ) },
           { "time", numberAt( packet.time ) },
           { "port", numberAt( packet.port ) },
           { "egress", numberAt( packet.egress ) },
           { "frame", &packet.frame } };
}

const Leaf * leafOf( const std::vector< Leaf > & leaves, const std::string & path ) {
  const auto found = std::find_if( leaves.begin(), leaves.end(),
                                   [ & ]( const Leaf & leaf ) { return leaf.path == path; } );
  return found == leaves.end() ? nullptr : &*found;
}

class Parser {
 public:
  Recording parse( std::string_view text );

 private:
  void line( std::string_view text );
  void header( std::string_view word, Words & words );
  void call( const Operation & operation, Words & words );
  void results( Event & event, Words & words );
  void add( Event event, Words & words );

  Recording recording_;
  U32 line_ = 0;
};

Recording Parser::parse( std::string_view text ) {
  bool first = true;
  while ( !text.empty() ) {
    const size_t end = text.find( '\n' );
    const bool complete = end != text.npos;
    std::string_view line = text.substr( 0, end );
    text.remove_prefix( complete ? end + 1 : text.size() );
    ++line_;
    if ( line.ends_with( '\r' ) )
      line.remove_suffix( 1 );
    try {
      if ( !first )
        this->line( line );
      else if ( line != firstLine )
        throw FormError(
            fmt::format( "is no record of SDK calls: \"{}\" is expected", firstLine ) );
      first = false;
    } catch ( const FormError & error ) {
      throw LineError( line_, error.what() );
    }
  }
  if ( first )
    throw LineError( 1, "is no record of SDK calls: it is empty" );
  return std::move( recording_ );
}

void Parser::line( std::string_view text ) {
  Words words( text );
  const std::string_view word = words.next();
  if ( word.empty() || word.starts_with( '#' ) )
    return;
  if ( word == "chip" || word == "stage" ) {
    if ( !recording_.events.empty() )
      throw FormError( "a chip must precede all calls" );
    header( word, words );
    return;
  }
  Event event;
  if ( word == "packet" ) {
    event.kind = EventKind::packet;
    words.read( packetLeaves( event.unit, event.packet ) );
  } else if ( word == "reset" ) {
    event.kind = EventKind::reset;
    words.read( { { "unit", numberAt( event.unit ) } } );
  } else if ( const Operation * const operation = operationNamed( word ) ) {
    call( *operation, words );
    return;
  } else {
    throw FormError( fmt::format( "there is no operation {}", word ) );
  }
  add( std::move( event ), words );
}

void Parser::header( std::string_view word, Words & words ) {
  if ( word == "chip" ) {
    U32 unit = 0;
    SoftAsic::ChipProfile chip = readChip( words, unit );
    if ( !recording_.units.emplace( unit, std::move( chip ) ).second )
      throw FormError( fmt::format( "unit {} has a chip already", unit ) );
    words.expectEnd();
    return;
  }
  U32 unit = 0;
  SoftAsic::StageProfile stage = readStage( words, unit );
  const auto found = recording_.units.find( unit );
  if ( found == recording_.units.end() )
    throw FormError( fmt::format( "unit {} has no chip yet", unit ) );
  found->second.stages.push_back( std::move( stage ) );
  words.expectEnd();
}

void Parser::call( const Operation & operation, Words & words ) {
  Event event;
  event.operation = &operation;
  event.before = operation.make();
  std::vector< Leaf > leaves = { { "unit", numberAt( event.unit ) } };
  const CallLeaves before = event.before->leaves( operation );
  leaves.insert( leaves.end(), before.in.begin(), before.in.end() );
  words.read( leaves );
  if ( !event.before->listsFit( operation ) )
    throw FormError( "a list has another length than the call says" );
  event.after = event.before->copy();
  results( event, words );
  add( std::move( event ), words );
}

void Parser::results( Event & event, Words & words ) {
  const std::string_view arrow = words.next();
  // The process ended in the call.
  event.threw = arrow.empty();
  if ( arrow.empty() )
    return;
  if ( arrow != "->" )
    throw FormError( fmt::format( "\"{}\" is no argument that is expected here", arrow ) );
  const std::string_view result = words.next();
  event.threw = result == "threw";
  if ( event.threw )
    return;
  Leaf{ "result", numberAt( event.rc ) }.read( result );
  // What the SDK has changed; everything that it only writes.
  std::vector< Leaf > leaves = event.after->leaves( *event.operation ).out;
  const std::vector< Leaf > in = event.before->leaves( *event.operation ).in;
  for ( Leaf & leaf : leaves )
    leaf.optional = leaf.optional || event.rc < 0 || leafOf( in, leaf.path ) != nullptr;
  words.read( leaves );
}

void Parser::add( Event event, Words & words ) {
  words.expectEnd();
  event.line = line_;
  recording_.events.push_back( std::move( event ) );
}

}  // namespace

std::string headerText( const Units & units ) {
  std::string text = fmt::format( "{}\n", firstLine );
  for ( const auto & [ unit, chip ] : units )
    text += chipText( unit, chip );
  return text;
}

std::string packetText( U32 unit, PacketIn packet ) {
  std::string text = "packet";
  addLeaves( text, packetLeaves( unit, packet ) );
  return text + '\n';
}

std::string resetText( U32 unit ) {
  return fmt::format( "reset unit={}\n", unit );
}

std::string callText( const Operation & operation, U32 unit, const CallLeaves & before ) {
  std::string text =
      fmt::format( "{} unit={}", operation.name, SdkText::numberText( unit, false ) );
  addLeaves( text, before.in );
  return text;
}

std::string resultText( int rc, const CallLeaves & before, const CallLeaves & after ) {
  std::string text = fmt::format( " -> {}", rc );
  for ( const Leaf & leaf : after.out ) {
    const Leaf * const given = leafOf( before.in, leaf.path );
    const bool same =
        given != nullptr ? given->text() == leaf.text() : leaf.optional && leaf.isZero();
    if ( rc >= 0 && !same )
      text += fmt::format( " {}={}", leaf.path, leaf.text() );
  }
  return text + '\n';
}

std::string eventText( const Event & event ) {
  if ( event.kind == EventKind::packet )
    return packetText( event.unit, event.packet );
  if ( event.kind == EventKind::reset )
    return resetText( event.unit );
  const CallLeaves before = event.before->leaves( *event.operation );
  return callText( *event.operation, event.unit, before ) +
         ( event.threw ? threwText
                       : resultText( event.rc, before, event.after->leaves( *event.operation ) ) );
}

Recording parseRecording( std::string_view text ) {
  return Parser().parse( text );
}

}  // namespace SdkRecord
