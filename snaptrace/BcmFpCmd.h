// The facility that echoes the calls which change the field processor as diagnostic-shell commands.
#pragma once

#include "kiv/Export.h"
#include "snaptrace/Handle.h"

extern KIV_API Snaptrace::Facility bcmFpCmd;
