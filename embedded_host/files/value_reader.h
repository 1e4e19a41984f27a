// Reading host arrays out of a variable file. Nothing that the file says is taken on trust.
#pragma once

#include "embedded_host/arrays/arrays.h"
#include "embedded_host/files/hdf5_objects.h"
#include "embedded_host/files/transaction_driver.h"

namespace vormel {

// The array that a variable of the file holds. Throws FileFault if it is damaged, or claims more
// than the file can hold.
OwnedArray readVariable(const Hdf5Object& variable, const TransactionFile& disk);

}  // namespace vormel
