/// @file
/// What somebody probably meant who typed a word that does not exist.
#ifndef PLC_CLI_NEAREST_H
#define PLC_CLI_NEAREST_H

#include <string>
#include <vector>

namespace plc::cli {

/// The name that @p typed was probably meant to be: the one that it is the beginning of, or the one with the
/// fewest letters wrong, missing, too many or exchanged, at most one in three.
/// @return empty where no name is near, or where several are equally near: a wrong guess is worse than none.
std::string nearest(const std::string &typed, const std::vector<std::string> &names);

/// "; did you mean 'NAME'?", or nothing.
std::string didYouMean(const std::string &typed, const std::vector<std::string> &names);

} // namespace plc::cli

#endif
