// The words of a line of a record: an operation, NAME=VALUE words, and what follows the arrow.
#pragma once

#include <string>
#include <string_view>
#include <vector>

#include "sdkrecord/Leaf.h"

namespace SdkRecord {

class Words {
 public:
  explicit Words( std::string_view line ) : rest_( line ) {}

  // Empty at the end of the line. A word has spaces only in quotes.
  std::string_view next();
  // The value of the next word if that is NAME=VALUE; throws FormError otherwise.
  std::string_view value( std::string_view name );
  // Reads each leaf from its word; they are in order. Optional ones may be missing. Throws
  // FormError.
  void read( const std::vector< Leaf > & leaves );
  // Throws FormError.
  void expectEnd();

 private:
  std::string_view peek() const;

  std::string_view rest_;
};

}  // namespace SdkRecord
