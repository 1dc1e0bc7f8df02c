// An icode file taken apart so that it can be changed and put together again: lengths, counts of subtrees and
// offsets of sections follow from what is there, so that only what was changed on purpose is wrong.
#pragma once

#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

namespace pelorus {

struct PARTS_TREE {
    uint8_t op = 0;
    uint32_t type = 0;   // index
    std::string payload; // its bytes
    std::vector<PARTS_TREE> children;
};

struct PARTS_RECORD {
    uint8_t kind = 0;
    std::string fields; // the body in front of the trees
    std::vector<PARTS_TREE> trees;
    int function = -1; // which of the file's it stands in; -1 outside
};

struct PARTS_FILE {
    std::string source;                 // name in the header
    std::vector<PARTS_RECORD> records;  // behind the header
    std::vector<PARTS_RECORD> parts[5]; // the sections, by the index of their offset in the header
    bool present[5] = {};               //
    int functions = 0;                  //
};

// Takes a file apart. False when it is damaged.
bool take_apart(std::string_view bytes, PARTS_FILE& file);
std::string put_together(const PARTS_FILE& file);

// The fields of a record or a type record that can be told apart: kind of field and its bytes.
struct PARTS_FIELD {
    char code;
    std::string bytes;
};
std::vector<PARTS_FIELD> split_fields(const PARTS_RECORD& record);
void join_fields(PARTS_RECORD& record, const std::vector<PARTS_FIELD>& fields);

std::string uleb_bytes(uint64_t number);
std::string sleb_bytes(int64_t number);
uint64_t uleb_number(std::string_view bytes);

} // namespace pelorus
