// Every host array comes back from a variable file as it went in.
#include <sqlite3.h>

#include <cmath>
#include <limits>
#include <numeric>

#include "tests/support/array_builders.h"
#include "tests/support/variable_files.h"

namespace kvr::test {
namespace {

class FilesValues : public VariableFileTest {};

constexpr int elementClasses[] = {vrLOGICAL_CLASS, vrCHAR_CLASS,   vrDOUBLE_CLASS, vrSINGLE_CLASS,
                                  vrINT8_CLASS,    vrUINT8_CLASS,  vrINT16_CLASS,  vrUINT16_CLASS,
                                  vrINT32_CLASS,   vrUINT32_CLASS, vrINT64_CLASS,  vrUINT64_CLASS};

const std::vector<std::vector<std::size_t>> shapes = {
    {1, 1},    {0, 0},    {0, 3},    {3, 0},       {1, 7},          {7, 1},    {3, 4},
    {2, 0, 5}, {2, 3, 4}, {2, 3, 1}, {1, 1, 1, 1}, {2, 1, 3, 1, 2}, {300, 200}};

// Bytes that differ from place to place.
void fillBytes(void* storage, std::size_t size, unsigned char first) {
  auto* bytes = static_cast<unsigned char*>(storage);
  for (std::size_t i = 0; i < size; ++i) bytes[i] = static_cast<unsigned char>(first + i * 7);
}

OwnedArray patterned(int classID, const std::vector<std::size_t>& dimensions, bool isComplex) {
  OwnedArray array = isComplex                 ? aComplex(classID, dimensions)
                     : classID == vrCHAR_CLASS ? someCharacters(dimensions)
                                               : aNumeric(classID, dimensions);
  const std::size_t size = vrGetNumberOfElements(array.get()) * vrGetElementSize(array.get());
  fillBytes(vrGetData(array.get()), size, 1);
  if (classID == vrLOGICAL_CLASS) {
    auto* truths = static_cast<unsigned char*>(vrGetData(array.get()));
    for (std::size_t i = 0; i < size; ++i) truths[i] &= 1;
  }
  if (isComplex) fillBytes(vrGetImagData(array.get()), size, 2);
  return array;
}

TEST_F(FilesValues, array_of_every_class_and_shape_comes_back) {
  for (const int classID : elementClasses) {
    for (const auto& shape : shapes) expectKept(patterned(classID, shape, false));
  }
}

TEST_F(FilesValues, complex_array_of_every_numeric_class_comes_back) {
  for (int classID = vrDOUBLE_CLASS; classID <= vrUINT64_CLASS; ++classID) {
    for (const auto& shape : shapes) expectKept(patterned(classID, shape, true));
  }
}

TEST_F(FilesValues, array_of_many_dimensions_comes_back) {
  std::vector<std::size_t> shape(40, 1);
  shape[3] = 5;
  shape[39] = 2;
  expectKept(patterned(vrDOUBLE_CLASS, shape, false));
  shape[7] = 0;
  expectKept(patterned(vrCHAR_CLASS, shape, false));
}

TEST_F(FilesValues, special_numbers_come_back_bit_for_bit) {
  using limits = std::numeric_limits<double>;
  expectKept(aRow({-0.0, limits::infinity(), -limits::infinity(), limits::quiet_NaN(),
                   std::copysign(limits::quiet_NaN(), -1.0), limits::denorm_min(), limits::max()}));
}

TEST_F(FilesValues, text_comes_back_lone_surrogates_and_nuls_included) {
  expectKept(aText("Geschwindigkeit \xE2\x82\xAC \xF0\x9F\x98\x80"));
  expectKept(filled<std::uint16_t>(someCharacters({1, 4}), {'a', 0, 0xD800, 'b'}));
}

TEST_F(FilesValues, structure_comes_back_with_its_fields_in_order) {
  const OwnedArray structure = aStruct({"zeta", "alpha", "mid"});
  vrSetFieldByNumber_730(structure.get(), 0, 1, aText("second").release());
  vrSetFieldByNumber_730(structure.get(), 0, 2, aStruct({"deeper"}).release());
  expectKept(structure);
}

TEST_F(FilesValues, structure_with_many_fields_comes_back_in_order) {
  std::vector<std::string> names(300);
  std::vector<const char*> fields;
  for (std::size_t i = 0; i < names.size(); ++i) names[i] = "f" + std::to_string(997 * i % 1009);
  for (const std::string& name : names) fields.push_back(name.c_str());
  const OwnedArray structure = aStruct(fields);
  for (int i = 0; i < 300; ++i) {
    vrSetFieldByNumber_730(structure.get(), 0, i, aNumber(i).release());
  }
  expectKept(structure);
}

TEST_F(FilesValues, field_names_of_any_bytes_come_back) {
  expectKept(
      aStruct({"", "%", ".", "..", "a/b", "/", "%2F", "a b", "\xC3\xA9", "\xFF", "\x01", "%%"}));
}

TEST_F(FilesValues, structure_arrays_of_every_shape_come_back) {
  for (const auto& shape : {std::vector<std::size_t>{0, 0}, {1, 3}, {2, 2}, {2, 1, 3}, {1, 1, 1}}) {
    expectKept(aStruct({"a", "b"}, shape));
    expectKept(aStruct({}, shape));
  }
  const OwnedArray structure = aStruct({"a", "b"}, {1, 3});
  vrSetFieldByNumber_730(structure.get(), 1, 0, aNumber(5).release());
  vrSetFieldByNumber_730(structure.get(), 2, 1, aText("x").release());
  expectKept(structure);
}

TEST_F(FilesValues, cells_of_every_shape_come_back) {
  for (const auto& shape : {std::vector<std::size_t>{0, 0}, {0, 4}, {1, 1}, {2, 3}, {2, 1, 2}}) {
    expectKept(aCell(shape));
  }
  const OwnedArray cell = aCell({3, 50});
  for (std::size_t i = 0; i < 150; ++i) {
    vormel::setCellElement(cell.get(), i, (i % 2 == 0 ? aNumber(i) : aText("x")).release());
  }
  expectKept(cell);
}

TEST_F(FilesValues, value_object_comes_back_with_its_properties) {
  const OwnedArray object = aTimeseries({1, 2, 3}, {0, 0.1, 0.2});
  vrSetProperty_730(object.get(), 0, "Name", aText("speed").get());
  expectKept(object);
  expectKept(anObject("Dravik.kvr.Thing"));
  expectKept(anObject("odd/name \x01 %"));
}

TEST_F(FilesValues, value_object_arrays_come_back) {
  const OwnedArray objects = anObject("point", {2, 2});
  vrSetProperty_730(objects.get(), 3, "x", aNumber(1).get());
  vrSetProperty_730(objects.get(), 0, "y", aRow({1, 2}).get());
  expectKept(objects);
  expectKept(owned(vrCreateEmptyCopy(objects.get())));
}

TEST_F(FilesValues, function_handle_comes_back) {
  expectKept(owned(vormel::makeFunctionHandle("sin")));
  expectKept(owned(vormel::makeFunctionHandle("")));
  expectKept(owned(vrCreateEmptyCopy(owned(vormel::makeFunctionHandle("sin")).get())));
}

TEST_F(FilesValues, arrays_within_arrays_come_back) {
  OwnedArray array = aTimeseries({1}, {2});
  for (int i = 0; i < 20; ++i) {
    OwnedArray cell = aCell({1, 2});
    OwnedArray structure = aStruct({"inner", "other"});
    vormel::setCellElement(cell.get(), 1, array.release());
    vrSetFieldByNumber_730(structure.get(), 0, 0, cell.release());
    array = std::move(structure);
  }
  expectKept(array);
}

TEST_F(FilesValues, large_array_comes_back) {
  std::vector<double> values(1'000'000);
  std::iota(values.begin(), values.end(), 0.5);
  expectKept(aColumn(values));
}

OwnedArray nested(int levels) {
  OwnedArray array = aNumber(1);
  for (int i = 1; i < levels; ++i) {
    OwnedArray outer = aCell();
    vormel::setCellElement(outer.get(), 0, array.release());
    array = std::move(outer);
  }
  return array;
}

TEST_F(FilesValues, deepest_nesting_comes_back_and_can_be_replaced) {
  expectKept(nested(400));
  expectKept(aNumber(1));
}

class FilesRefusedValues : public VariableFileTest {
 protected:
  // The put fails, the variable stays what it was, and the same handle goes on working.
  void expectRefused(const OwnedArray& array) {
    const OpenFile file = openFile(path, "u");
    EXPECT_EQ(vfPutVariable(file.get(), "x", aNumber(1).get()), 0);
    EXPECT_NE(vfPutVariable(file.get(), "x", array.get()), 0);
    EXPECT_EQ(vfPutVariable(file.get(), "y", aNumber(2).get()), 0);
    EXPECT_EQ(vrGetScalar(OwnedArray(vfGetVariable(file.get(), "x")).get()), 1);
  }
};

TEST_F(FilesRefusedValues, opaque_arrays_cannot_be_put) {
  expectRefused(owned(vormel::makeOpaque("handle")));
  expectRefused(owned(vormel::makeOpaque(nullptr)));
}

TEST_F(FilesRefusedValues, arrays_with_an_opaque_part_cannot_be_put) {
  const OwnedArray cell = aCell({1, 2});
  vormel::setCellElement(cell.get(), 1, owned(vormel::makeOpaque("handle")).release());
  expectRefused(cell);
  const OwnedArray object = anObject("point");
  vrSetProperty_730(object.get(), 0, "x", cell.get());
  expectRefused(object);
}

TEST_F(FilesRefusedValues, deeper_nesting_cannot_be_put) {
  expectRefused(nested(401));
  EXPECT_EQ(vormel::lastFileError(), "the array is nested too deeply");
}

TEST_F(FilesRefusedValues, names_of_excessive_length_cannot_be_put) {
  const std::string name(50'001, 'n');
  expectRefused(aStruct({name.c_str()}));
  expectRefused(anObject(name));
}

// The reader refuses such a value, so that it would be lost.
TEST_F(FilesRefusedValues, truth_values_beyond_0_and_1_cannot_be_put) {
  expectRefused(filled<unsigned char>(aNumeric(vrLOGICAL_CLASS, {1, 3}), {0, 2, 1}));
  EXPECT_EQ(vormel::lastFileError(), "a logical element is neither 0 nor 1");
}

TEST_F(FilesRefusedValues, two_fields_of_one_name_cannot_be_put) {
  EXPECT_FALSE(put(path, "x", aStruct({"a", "a"})));
  EXPECT_FALSE(get(path, "x"));
}

// ---- Memory beside the array ----

TEST_F(FilesValues, large_array_takes_little_memory_on_its_way) {
  constexpr sqlite3_int64 most = 4 << 20;
  const OwnedArray large = aColumn(std::vector<double>(4'000'000, 1.5));  // 32 MB
  sqlite3_memory_highwater(1);
  ASSERT_TRUE(put(path, "x", large));
  EXPECT_GT(sqlite3_memory_highwater(0), 0) << "SQLite counts its memory";
  EXPECT_LT(sqlite3_memory_highwater(1), most);
  EXPECT_TRUE(vormel::equal(get(path, "x").get(), large.get()));
  EXPECT_LT(sqlite3_memory_highwater(0), most);
}

}  // namespace
}  // namespace kvr::test
