/// @file
/// What must be true of every project that was read, and of every complaint about one.
#ifndef PLC_FUZZ_PROJECT_CLAIMS_H
#define PLC_FUZZ_PROJECT_CLAIMS_H

#include <string>

#include "host/project/project_file.h"
#include "runtime/line/failure.h"

namespace plc::fuzz {

constexpr char kClaimedFile[] = "panel"; ///< what the text that was read is called

void claimGoodProject(const host::Project &project);
/// @param bytes  the text that was read.
void claimGoodFailure(const host::Failure &failure, const std::string &bytes);

} // namespace plc::fuzz

#endif
