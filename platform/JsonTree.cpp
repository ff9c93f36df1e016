#include "platform/JsonTree.h"

#include <algorithm>
#include <iterator>
#include <limits>
#include <nlohmann/json.hpp>
#include <unordered_set>

#include "platform/InputError.h"

namespace Platform {

namespace {

constexpr std::size_t depthMax = 32;
constexpr U32 valuesMax = 2'000'000;
constexpr std::size_t searchMax = 16;  // members that are compared one by one

// Input of the parser; records how far it has read.
struct CountingIterator {
  using iterator_category = std::forward_iterator_tag;
  using value_type = char;
  using difference_type = std::ptrdiff_t;
  using pointer = const char *;
  using reference = const char &;

  const char * at = nullptr;
  const char ** read = nullptr;

  reference operator*() const { return *at; }
  CountingIterator & operator++() {
    *read = ++at;
    return *this;
  }
  CountingIterator operator++( int ) {
    const CountingIterator before = *this;
    ++*this;
    return before;
  }
  bool operator==( const CountingIterator & other ) const { return at == other.at; }
  bool operator!=( const CountingIterator & other ) const { return at != other.at; }
};

bool separates( char c ) {
  return c == ' ' || c == '\t' || c == '\r' || c == '\n' || c == ',' || c == ':';
}

bool inNumber( char c ) {
  return ( c >= '0' && c <= '9' ) || c == '-' || c == '+' || c == '.' || c == 'e' || c == 'E';
}

// The place of a position that only moves forward.
class Cursor {
 public:
  explicit Cursor( const char * begin ) : at_( begin ), lineBegin_( begin ) {}
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
  U32 line_ = 1;
};

class TreeBuilder : public nlohmann::json_sax< nlohmann::json > {
 public:
  TreeBuilder( const std::string & file, std::string_view text )
      : file_( file ), text_( text ), cursor_( text.data() ), end_( text.data() ), read_( end_ ) {}

  const char ** read() { return &read_; }
  JsonNode takeRoot() { return std::move( root_ ); }

  bool null() override {
    put( JsonNode::Kind::null );
    return true;
  }
  bool boolean( bool value ) override {
    put( JsonNode::Kind::boolean ).boolean = value;
    return true;
  }
  bool number_integer( number_integer_t value ) override {
    putNumber( JsonNode::Kind::integer ).integer = value;
    return true;
  }
  bool number_unsigned( number_unsigned_t value ) override {
    JsonNode & node = putNumber( JsonNode::Kind::integer );
    if ( value > static_cast< U64 >( std::numeric_limits< S64 >::max() ) )
      fail( "number out of range" );
    node.integer = static_cast< S64 >( value );
    return true;
  }
  bool number_float( number_float_t, const string_t & ) override {
    putNumber( JsonNode::Kind::other );
    return true;
  }
  bool string( string_t & value ) override {
    put( JsonNode::Kind::string ).string = std::move( value );
    return true;
  }
  bool binary( binary_t & ) override {
    put( JsonNode::Kind::other );
    return true;
  }
  bool start_object( std::size_t ) override { return open( JsonNode::Kind::object ); }
  bool start_array( std::size_t ) override { return open( JsonNode::Kind::array ); }
  bool end_object() override { return close(); }
  bool end_array() override { return close(); }

  bool key( string_t & name ) override {
    beginToken();
    end_ = read_;
    if ( std::any_of( name.begin(), name.end(),
                      []( char c ) { return static_cast< U8 >( c ) < ' ' || c == 0x7F; } ) )
      fail( "a key must not have control characters" );
    Open & object = open_.back();
    if ( !isNew( object, name ) )
      fail( "key \"" + name + "\" occurs twice" );
    object.node->members.push_back( { std::move( name ), {} } );
    return true;
  }
  bool parse_error( std::size_t used, const std::string &,
                    const nlohmann::json::exception & ) override {
    if ( text_.find_first_not_of( " \t\r\n" ) == text_.npos )
      fail( "the file is empty" );
    const std::size_t last = std::min( std::max< std::size_t >( used, 1 ), text_.size() ) - 1;
    cursor_.moveTo( text_.data() + last );
    if ( used > text_.size() )
      fail( "truncated: the text ends inside a JSON value" );
    fail( std::string( "not JSON: unexpected '" ) + text_[ last ] + "'" );
  }

 private:
  struct Open {
    JsonNode * node;
    std::unordered_set< std::string > names;  // of many members
  };

  [[noreturn]] void fail( const std::string & what ) const {
    throw InputError( file_, cursor_.place(), what );
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
      fail( "more than two million values: no chip holds what this file describes" );
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
  JsonNode & putNumber( JsonNode::Kind kind ) {
    JsonNode & node = begin( kind );
    end_ = std::find_if_not( end_, text_.data() + text_.size(), inNumber );
    return node;
  }
  // The pointer stays valid: the parent of an open node does not grow until the node is closed.
  bool open( JsonNode::Kind kind ) {
    JsonNode & node = put( kind );
    if ( open_.size() == depthMax )
      fail( "nested too deeply" );
    open_.push_back( { &node, {} } );
    return true;
  }
  bool close() {
    open_.pop_back();
    end_ = read_;
    return true;
  }

  const std::string & file_;
  std::string_view text_;
  Cursor cursor_;
  const char * end_;   // of the last token
  const char * read_;  // by the parser
  JsonNode root_;
  U32 values_ = 0;
  std::vector< Open > open_;
};

}  // namespace

JsonNode parseJson( const std::string & file, const std::string & text ) {
  const std::string_view body = textBody( file, text );
  TreeBuilder builder( file, body );
  nlohmann::json::sax_parse( CountingIterator{ body.data(), builder.read() },
                             CountingIterator{ body.data() + body.size(), builder.read() },
                             &builder );
  return builder.takeRoot();
}

}  // namespace Platform
