#include "platform/JsonTree.h"

#include <algorithm>
#include <iterator>
#include <limits>
#include <nlohmann/json.hpp>

#include "platform/InputError.h"

namespace Platform {

namespace {

constexpr std::size_t depthMax = 32;

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

class TreeBuilder : public nlohmann::json_sax< nlohmann::json > {
 public:
  TreeBuilder( const std::string & file, const std::string & text )
      : file_( file ), begin_( text.data() ), counted_( begin_ ), read_( begin_ ) {}

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
    put( JsonNode::Kind::integer ).integer = value;
    return true;
  }
  bool number_unsigned( number_unsigned_t value ) override {
    if ( value > static_cast< U64 >( std::numeric_limits< S64 >::max() ) )
      throw InputError( file_, line(), "number out of range" );
    put( JsonNode::Kind::integer ).integer = static_cast< S64 >( value );
    return true;
  }
  bool number_float( number_float_t, const string_t & ) override {
    put( JsonNode::Kind::other );
    return true;
  }
  bool string( string_t & value ) override {
    put( JsonNode::Kind::string ).string = value;
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
    auto & members = open_.back()->members;
    if ( std::any_of( members.begin(), members.end(),
                      [ & ]( const auto & member ) { return member.name == name; } ) )
      throw InputError( file_, line(), "key \"" + name + "\" occurs twice" );
    key_ = name;
    return true;
  }
  bool parse_error( std::size_t, const std::string & token,
                    const nlohmann::json::exception & ) override {
    throw InputError( file_, line(),
                      token.empty() ? "not JSON: the text ends too early"
                                    : "not JSON: unexpected '" + token + "'" );
  }

 private:
  // Line of the last character that the parser used. It has read at most one beyond a number, and
  // exactly to the end of any other token; a line end is counted only when something follows it.
  U32 line() {
    const char * used = read_ == begin_ ? begin_ : read_ - 1;
    if ( used > counted_ ) {
      line_ += static_cast< U32 >( std::count( counted_, used, '\n' ) );
      counted_ = used;
    }
    return line_;
  }

  JsonNode & put( JsonNode::Kind kind ) {
    JsonNode * node = &root_;
    if ( !open_.empty() ) {
      JsonNode & parent = *open_.back();
      node = parent.kind == JsonNode::Kind::array
                 ? &parent.elements.emplace_back()
                 : &parent.members.emplace_back( JsonMember{ key_, {} } ).value;
    }
    node->kind = kind;
    node->line = line();
    return *node;
  }
  // The pointer stays valid: the parent of an open node does not grow until the node is closed.
  bool open( JsonNode::Kind kind ) {
    if ( open_.size() == depthMax )
      throw InputError( file_, line(), "nested too deeply" );
    open_.push_back( &put( kind ) );
    return true;
  }
  bool close() {
    open_.pop_back();
    return true;
  }

  const std::string & file_;
  const char * begin_;
  const char * counted_;
  const char * read_;
  U32 line_ = 1;
  JsonNode root_;
  std::vector< JsonNode * > open_;
  std::string key_;
};

}  // namespace

JsonNode parseJson( const std::string & file, const std::string & text ) {
  TreeBuilder builder( file, text );
  const char * begin = text.data();
  nlohmann::json::sax_parse( CountingIterator{ begin, builder.read() },
                             CountingIterator{ begin + text.size(), builder.read() }, &builder );
  return builder.takeRoot();
}

}  // namespace Platform
