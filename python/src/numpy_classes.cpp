#include "python/src/numpy_classes.h"

namespace vormel::python {
namespace {

struct Row {
  int classID;
  char kind;        // of the dtype
  int bytes;        // of its element
  int type;         // NumPy's number
  int complexType;  // of the same class with imaginary parts
};

constexpr Row rows[] = {
    {vrLOGICAL_CLASS, 'b', 1, NPY_BOOL, -1},
    {vrDOUBLE_CLASS, 'f', 8, NPY_DOUBLE, NPY_CDOUBLE},
    {vrSINGLE_CLASS, 'f', 4, NPY_FLOAT, NPY_CFLOAT},
    {vrINT8_CLASS, 'i', 1, NPY_INT8, -1},
    {vrUINT8_CLASS, 'u', 1, NPY_UINT8, -1},
    {vrINT16_CLASS, 'i', 2, NPY_INT16, -1},
    {vrUINT16_CLASS, 'u', 2, NPY_UINT16, -1},
    {vrINT32_CLASS, 'i', 4, NPY_INT32, -1},
    {vrUINT32_CLASS, 'u', 4, NPY_UINT32, -1},
    {vrINT64_CLASS, 'i', 8, NPY_INT64, -1},
    {vrUINT64_CLASS, 'u', 8, NPY_UINT64, -1},
    {vrDOUBLE_CLASS, 'c', 16, NPY_CDOUBLE, NPY_CDOUBLE},
    {vrSINGLE_CLASS, 'c', 8, NPY_CFLOAT, NPY_CFLOAT},
    {vrCHAR_CLASS, 'U', 4, -1, -1},
};

}  // namespace

int classOfDtype(const PyArray_Descr* dtype) {
  for (const Row& row : rows) {
    if (row.kind == dtype->kind && row.bytes == dtype->elsize) return row.classID;
  }
  return vrUNKNOWN_CLASS;
}

int numpyTypeOf(int classID, bool isComplex) {
  for (const Row& row : rows) {
    if (row.classID == classID) return isComplex ? row.complexType : row.type;
  }
  return -1;
}

}  // namespace vormel::python
