// A spool handed over ready, for benchmarks of the program that runs the
// simulator: with SQLPLUS_SIM_READY_SPOOL=FILE set, the first run spools
// as usual and keeps a copy of its spool in FILE; every later run, once
// logged on, puts FILE in place of the script's spool and runs nothing.
// The program then reads exactly the lines a query would have written,
// while the query itself costs nothing measurable.
#ifndef TOOLS_SQLPLUS_READYSPOOL_H
#define TOOLS_SQLPLUS_READYSPOOL_H

#include <string>
#include <vector>

namespace sqlsim {

// The file named by the script's first spool command; "" when none.
std::string spoolTarget(const std::vector<std::string>& script);

// Makes `target` a hard link to `ready` (a copy when linking fails, e.g.
// across file systems). False when `ready` does not exist or cannot be
// put in place.
bool handOverSpool(const std::string& ready, const std::string& target);

// Copies the finished spool `target` to `ready`. False on a failure (a
// partial copy is removed).
bool keepSpool(const std::string& target, const std::string& ready);

}  // namespace sqlsim

#endif
