// What calls leave behind, counted: the same account for every row of the ledger.
#pragma once

#include <cstdint>
#include <map>
#include <string>

namespace kvr::test {

// Number of each kind; kinds that there is nothing of are left out.
using Account = std::map<std::string, std::int64_t>;

// The account of the process and its present store. Runs, instances and ids up to 40 are looked at.
Account takeAccount();

// What came on top from one account to the other; negative for what went.
Account difference(const Account& before, const Account& after);

}  // namespace kvr::test
