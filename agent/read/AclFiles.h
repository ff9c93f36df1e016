// Reads access list files of all supported formats.
#pragma once

#include <string>

#include "agent/acl/AclRule.h"

namespace Agent {

enum class AclFormat {
  detect,      // by the first non-blank character: '@' ClassBench, '{' rules file
  classBench,  // ClassBenchReader.h
  rules,       // RulesFileReader.h
};

// Throws Platform::InputError for an unreadable or malformed file.
Acl readAcl( const std::string & name, const std::string & file, AclFormat format );

}  // namespace Agent
