// An icode file taken apart so that it can be changed and put together again: lengths, counts of subtrees and
// offsets of sections follow from what is there, so that only what was changed on purpose is wrong.
#pragma once

#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

namespace pelorus {

struct MUTANT_TREE {
    uint8_t op = 0;
    uint32_t type = 0;   // index
    std::string payload; // its bytes
    std::vector<MUTANT_TREE> children;
};

struct MUTANT_RECORD {
    uint8_t kind = 0;
    std::string fields; // the body in front of the trees
    std::vector<MUTANT_TREE> trees;
    int function = -1; // which of the file's it stands in; -1 outside
};

struct MUTANT_FILE {
    std::string source;                  // name in the header
    std::vector<MUTANT_RECORD> records;  // behind the header
    std::vector<MUTANT_RECORD> parts[5]; // the sections, by the index of their offset in the header
    bool present[5] = {};                //
    int functions = 0;                   //
};

// Takes a file apart. False when it is damaged.
bool take_apart(std::string_view bytes, MUTANT_FILE& file);
std::string put_together(const MUTANT_FILE& file);

// The fields of a record or a type record that can be told apart: kind of field and its bytes.
struct MUTANT_FIELD {
    char code;
    std::string bytes;
};
std::vector<MUTANT_FIELD> split_fields(const MUTANT_RECORD& record);
void join_fields(MUTANT_RECORD& record, const std::vector<MUTANT_FIELD>& fields);

std::string uleb_bytes(uint64_t number);
std::string sleb_bytes(int64_t number);
uint64_t uleb_number(std::string_view bytes);

} // namespace pelorus
