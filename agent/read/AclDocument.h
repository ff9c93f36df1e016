// What a file of access lists holds.
#pragma once

#include <string>
#include <vector>

#include "agent/acl/AclRule.h"
#include "agent/read/Refusals.h"
#include "platform/JsonTree.h"

namespace Agent {

// What the user allows readers to assume.
struct ReaderOptions {
  bool assumeEstablished = false;  // TCP packets with ACK or RST belong to a connection
};

// A file before it is read.
struct AclSource {
  std::string name;  // of a list that the file does not name
  std::string file;
  std::string text;
  const Platform::JsonNode * root = nullptr;  // of JSON texts
  ReaderOptions options;
};

struct AclDocument {
  std::vector< Acl > lists;  // in text order
  Refusals refusals;
  // What the reader assumes where the format leaves it open, for reports.
  std::vector< std::string > notes;
};

}  // namespace Agent
