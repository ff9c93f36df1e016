#include "platform/JsonTree.h"

#include <algorithm>
#include <iterator>
#include <limits>
#include <nlohmann/json.hpp>
#include <optional>
#include <unordered_set>

#include "platform/InputError.h"

namespace Platform {

namespace {

constexpr std::size_t depthMax = 32;
constexpr U32 valuesMax = 1'000'000;
constexpr std::size_t searchMax = 16;  // members that are compared one by one
constexpr std::size_t hugeMax = 16;    // numbers beyond a double, of one text or row

// Numbers of a text that are beyond a double, which the JSON library refuses. It gets other digits
// in their place, which nobody uses.
class HugeNumbers {
 public:
  bool add( std::string_view number ) {
    if ( numbers_.size() == hugeMax )
      return false;
    numbers_.push_back( number );
    return true;
  }
  char shown( const char * at ) const {
    for ( const std::string_view & number : numbers_ )
      if ( at >= number.data() && at < number.data() + number.size() )
        return at == number.data() + 1 ? '.' : '1';
    return *at;
  }

 private:
  std::vector< std::string_view > numbers_;
};

// Input of the parser, from a position that the builder of the tree can move.
struct SharedIterator {
  using iterator_category = std::input_iterator_tag;
  using value_type = char;
  using difference_type = std::ptrdiff_t;
  using pointer = const char *;
  using reference = char;

  const char ** at = nullptr;
  const HugeNumbers * huge = nullptr;

  reference operator*() const { return huge->shown( *at ); }
  SharedIterator & operator++() {
    ++*at;
    return *this;
  }
  SharedIterator operator++( int ) { return ++*this; }
  bool operator==( const SharedIterator & other ) const { return *at == *other.at; }
  bool operator!=( const SharedIterator & other ) const { return *at != *other.at; }
};

bool isBlank( char c ) {
  return c == ' ' || c == '\t' || c == '\r' || c == '\n';
}

bool separates( char c ) {
  return isBlank( c ) || c == ',' || c == ':';
}

bool inNumber( char c ) {
  return ( c >= '0' && c <= '9' ) || c == '-' || c == '+' || c == '.' || c == 'e' || c == 'E';
}

constexpr const char * keyWithControl = "a key must not have control characters";

std::string keyTwice( const std::string & name ) {
  return "key \"" + name + "\" occurs twice";
}

bool hasControl( const std::string & name ) {
  return std::any_of(
      name.begin(), name.end(),
      []( char c ) { return static_cast< U8 >( c ) < ' ' || c == 0x7F; } );
}

// The bracket that closes a container, from after its opening one, or the end of the text.
const char * closingBracket( const char * at, const char * end ) {
  bool quoted = false;
  for ( U32 depth = 0; at < end; ++at )
    if ( *at == '"' )
      quoted = !quoted;
    else if ( quoted )
      at += *at == '\\' ? 1 : 0;
    else if ( *at == '[' || *at == '{' )
      ++depth;
    else if ( ( *at == ']' || *at == '}' ) && depth-- == 0 )
      return at;
  return end;
}

// The place of a position that only moves forward.
class Cursor {
 public:
  // `begin` is the first position, at `place`.
  Cursor( const char * begin, Place place )
      : at_( begin ), lineBegin_( begin - ( place.column - 1 ) ), line_( place.line ) {}
  void moveTo( const char * position ) {
    for ( ; at_ < position; ++at_ ) {
      if ( *at_ != '\n' )
        continue;
      ++line_;
      lineBegin_ = at_ + 1;
    }
  }
  Place place() const { return { line_, static_cast< U32 >( at_ - lineBegin_ ) + 1 }; }

 private:
  const char * at_;
  const char * lineBegin_;
  U32 line_;
};

class TreeBuilder : public nlohmann::json_sax< nlohmann::json > {
 public:
  // A text whose first byte is at `place`, inside of `depth` containers.
  TreeBuilder( const std::string & file, std::string_view text, JsonRowKeys rowKeys,
               HugeNumbers & huge, Place place = { 1, 1 }, std::size_t depth = 0 )
      : file_( file ),
        text_( text ),
        huge_( huge ),
        rowKeys_( rowKeys ),
        depth_( depth ),
        cursor_( text.data(), place ),
        end_( text.data() ),
        read_( end_ ) {}

  // Of the value that the text begins with; Whole::yes: it has nothing else.
  enum class Whole { no, yes };
  // Empty: a huge number was added, and another builder has to parse the text again.
  std::optional< JsonNode > parse( Whole whole ) {
    const char * last = text_.data() + text_.size();
    if ( !nlohmann::json::sax_parse( SharedIterator{ &read_, &huge_ },
                                     SharedIterator{ &last, &huge_ }, this,
                                     nlohmann::json::input_format_t::json, whole == Whole::yes ) )
      return std::nullopt;
    return std::move( root_ );
  }
  const char * end() const { return end_; }  // of the value
  Place placeOf( const char * position ) {
    cursor_.moveTo( position );
    return cursor_.place();
  }

  bool null() override {
    put( JsonNode::Kind::null );
    return true;
  }
  bool boolean( bool value ) override {
    put( JsonNode::Kind::boolean ).boolean = value;
    return true;
  }
  bool number_integer( number_integer_t value ) override {
    putNumber( value != 0, value );
    return true;
  }
  bool number_unsigned( number_unsigned_t value ) override {
    putNumber( value <= static_cast< U64 >( std::numeric_limits< S64 >::max() ),
               static_cast< S64 >( value ) );
    return true;
  }
  bool number_float( number_float_t, const string_t & ) override {
    putNumber( false, 0 );
    return true;
  }
  bool string( string_t & value ) override {
    put( JsonNode::Kind::string ).string = std::move( value );
    return true;
  }
  bool binary( binary_t & ) override { return false; }  // not in a text
  bool start_object( std::size_t ) override { return open( JsonNode::Kind::object ); }
  bool start_array( std::size_t ) override { return open( JsonNode::Kind::array ); }
  bool end_object() override { return close(); }
  bool end_array() override { return close(); }

  bool key( string_t & name ) override {
    beginToken();
    end_ = read_;
    if ( hasControl( name ) )
      fail( keyWithControl );
    Open & object = open_.back();
    if ( !isNew( object, name ) )
      fail( keyTwice( name ) );
    object.node->members.push_back( { std::move( name ), {} } );
    return true;
  }
  bool parse_error( std::size_t used, const std::string &,
                    const nlohmann::json::exception & error ) override {
    if ( error.id == outOfRange )
      return skipHuge();
    if ( text_.find_first_not_of( " \t\r\n" ) == text_.npos )
      fail( "the file is empty" );
    used += left_;
    const std::size_t last = std::min( std::max< std::size_t >( used, 1 ), text_.size() ) - 1;
    cursor_.moveTo( text_.data() + last );
    if ( used > text_.size() )
      fail( "truncated: the text ends inside a JSON value" );
    fail( std::string( "not JSON: unexpected '" ) + text_[ last ] + "'" );
  }

 private:
  static constexpr int outOfRange = 406;  // the library's number of the error

  struct Open {
    JsonNode * node;
    std::unordered_set< std::string > names;  // of many members
  };

  [[noreturn]] void fail( const std::string & what ) const {
    throw FileError( file_, cursor_.place(), what );
  }

  // Between the tokens that are reported there are only blanks and separators.
  void beginToken() {
    const char * begin = std::find_if_not( end_, text_.data() + text_.size(), separates );
    cursor_.moveTo( begin );
    end_ = begin;
  }

  static bool isNew( Open & object, const std::string & name ) {
    const auto & members = object.node->members;
    if ( members.size() < searchMax )
      return std::none_of( members.begin(), members.end(),
                           [ & ]( const JsonMember & member ) { return member.name == name; } );
    if ( object.names.empty() )
      for ( const JsonMember & member : members )
        object.names.insert( member.name );
    return object.names.insert( name ).second;
  }

  JsonNode & begin( JsonNode::Kind kind ) {
    beginToken();
    if ( ++values_ > valuesMax )
      fail( "more than a million values: no chip holds what this file describes" );
    JsonNode * node = &root_;
    if ( !open_.empty() ) {
      JsonNode & parent = *open_.back().node;
      node = parent.kind == JsonNode::Kind::array ? &parent.elements.emplace_back()
                                                  : &parent.members.back().value;
    }
    node->kind = kind;
    const Place at = cursor_.place();
    node->line = at.line;
    node->column = at.column;
    return *node;
  }
  JsonNode & put( JsonNode::Kind kind ) {
    JsonNode & node = begin( kind );
    end_ = read_;
    return node;
  }
  // The parser has read one character beyond a number.
  std::string_view takeNumber() {
    const char * begin = end_;
    end_ = std::find_if_not( begin, text_.data() + text_.size(), inNumber );
    return { begin, end_ };
  }
  void putNumber( bool integer, S64 value ) {
    JsonNode & node = begin( integer ? JsonNode::Kind::integer : JsonNode::Kind::number );
    const std::string_view number = takeNumber();
    if ( integer )
      node.integer = value;
    else
      node.string = number;
  }
  bool skipHuge() {
    beginToken();
    if ( !huge_.add( takeNumber() ) )
      fail( "number out of range" );
    return false;
  }
  // The pointer stays valid: the parent of an open node does not grow until the node is closed.
  bool open( JsonNode::Kind kind ) {
    const bool rows = holdsRows();
    JsonNode & node = put( kind );
    if ( depth_ + open_.size() == depthMax )
      fail( "nested too deeply" );
    open_.push_back( { &node, {} } );
    if ( rows )
      leaveText( node );
    return true;
  }
  // True if the value that begins is that of a key of rows.
  bool holdsRows() const {
    if ( open_.empty() || open_.back().node->kind != JsonNode::Kind::object )
      return false;
    const std::string_view name = open_.back().node->members.back().name;
    return std::find( rowKeys_.begin(), rowKeys_.end(), name.substr( name.find( ':' ) + 1 ) ) !=
           rowKeys_.end();
  }
  // The parser finds the end of the container next.
  void leaveText( JsonNode & node ) {
    const char * close = closingBracket( read_, text_.data() + text_.size() );
    node.kind =
        node.kind == JsonNode::Kind::array ? JsonNode::Kind::arrayRows : JsonNode::Kind::objectRows;
    node.rows = { read_, close };
    node.depth = static_cast< U32 >( depth_ + open_.size() );
    left_ += node.rows.size();
    read_ = close;
  }
  bool close() {
    open_.pop_back();
    end_ = read_;
    return true;
  }

  const std::string & file_;
  std::string_view text_;
  HugeNumbers & huge_;
  JsonRowKeys rowKeys_;
  std::size_t depth_;
  std::size_t left_ = 0;  // bytes that are left as text
  Cursor cursor_;
  const char * end_;   // of the last token
  const char * read_;  // by the parser
  JsonNode root_;
  U32 values_ = 0;
  std::vector< Open > open_;
};

}  // namespace

JsonNode parseJson( const std::string & file, const std::string & text, JsonRowKeys rowKeys ) {
  const std::string_view body = textBody( file, text );
  HugeNumbers huge;
  std::optional< JsonNode > root;
  while ( !root )
    root = TreeBuilder( file, body, rowKeys, huge ).parse( TreeBuilder::Whole::yes );
  return std::move( *root );
}

JsonRows::JsonRows( const std::string & file, const JsonNode & node )
    : file_( file ),
      at_( node.rows.data() ),
      end_( node.rows.data() + node.rows.size() ),
      place_{ node.line, node.column + 1 },
      depth_( node.depth ),
      named_( node.kind == JsonNode::Kind::objectRows ) {
  skipBlanks();
}

void JsonRows::skipBlanks() {
  moveTo( std::find_if_not( at_, end_, isBlank ) );
}

void JsonRows::moveTo( const char * position ) {
  Cursor cursor( at_, place_ );
  cursor.moveTo( position );
  at_ = position;
  place_ = cursor.place();
}

void JsonRows::take( char separator ) {
  skipBlanks();
  if ( at_ == end_ || *at_ != separator )
    fail();
  moveTo( at_ + 1 );
  skipBlanks();
}

void JsonRows::fail() const {
  throw FileError( file_, place_, std::string( "not JSON: unexpected '" ) + *at_ + "'" );
}

JsonNode JsonRows::value() {
  // The text is followed by the bracket that ends the rows.
  HugeNumbers huge;
  while ( true ) {
    TreeBuilder builder( file_, { at_, end_ + 1 }, {}, huge, place_, depth_ );
    if ( std::optional< JsonNode > node = builder.parse( TreeBuilder::Whole::no ) ) {
      place_ = builder.placeOf( builder.end() );
      at_ = builder.end();
      return std::move( *node );
    }
  }
}

bool JsonRows::next() {
  if ( at_ == end_ )
    return false;
  if ( named_ ) {
    const Place place = place_;
    if ( *at_ != '"' )
      fail();
    row_.name = value().string;
    checkName( row_.name, place );
    take( ':' );
  }
  row_.value = value();
  skipBlanks();
  if ( at_ != end_ )
    take( ',' );
  else
    return true;
  if ( at_ == end_ )
    fail();
  return true;
}

void JsonRows::checkName( const std::string & name, Place place ) {
  if ( hasControl( name ) )
    throw FileError( file_, place, keyWithControl );
  if ( !names_.insert( name ).second )
    throw FileError( file_, place, keyTwice( name ) );
}

}  // namespace Platform
