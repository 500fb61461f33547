#pragma once

#include "etabulon/cumul/ETabulonCumulFunc.h"
#include "etabulon/foundation/Chaine.h"
#include "etabulon/foundation/ERef.h"

#include <vector>

namespace etabulon {

// The functions of the values that are there: a record without a value doesn't count for them, as
// for the aggregate functions of SQL. They stand beside the functions of a variable's type family,
// of which none skips such a record: over 2, missing and 4, AVG is 2 and MEAN is 3, MIN is missing
// and LOWEST is 2.
//
//   COUNTVAL               how many values there are; 0 where no record has one
//   DISTINCT               how many different ones: texts by their bytes
//   FIRST                  the first one
//   LOWEST, HIGHEST        the first and last one in the order by value, of any type
//   CODELOWEST,            the code of the record that has it, the first of equal ones; of numbers
//   CODEHIGHEST            and dates
//   MEAN                   the sum over their number, a TYPE_DOUBLE; of numbers, as those below
//   STDDEV, STDDEVP        the standard deviation, of a sample (over n - 1) and of all (over n)
//   MEDIAN, P1 to P99      quantiles, interpolated between the two nearest values
//
// But for COUNTVAL and DISTINCT a result over no value is ValNull. DISTINCT and the quantiles keep
// the values that they meet, in each cell.

/// The function of this code for variables of this type code, or null. The case of the code plays
/// no part.
[[nodiscard]] ETABULON_API ERef<ETabulonCumulFunc> FindPresentFunction(const Chaine& code,
                                                                       int type);

/// The codes that variables of this type have, P1 to P99 only as P90.
[[nodiscard]] ETABULON_API std::vector<Chaine> PresentFunctionCodes(int type);

}  // namespace etabulon
