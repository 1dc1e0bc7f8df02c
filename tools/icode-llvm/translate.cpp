// See translate.h. Each function is translated and forgotten as soon as it has been read.
#include "translate.h"

#include "emitter.h"
#include "icode/reader.h"
#include "icode/unit_client.h"
#include "ir/stmt.h"
#include "memory/zone.h"

namespace pelorus {

namespace {

// What is open during a translation; it is closed however the translation ends.
struct TRANSLATION {
    MODULE module;
    TYPE_PKG types;
    ICODE_READER* reader = nullptr;

    TRANSLATION() { set_type_package(&types); }
    ~TRANSLATION() {
        if (reader) close_icode(reader);
        set_type_package(nullptr);
    }
    TRANSLATION(const TRANSLATION&) = delete;
    TRANSLATION& operator=(const TRANSLATION&) = delete;
};

void function_read(void* context) {
    TRANSLATION& translation = *static_cast<TRANSLATION*>(context);
    translation.module.symbols = &icode_global_symbols(*translation.reader);
    write_function(translation.module);
    clear_function();
    release_local_zone();
}

void file_assembly(void* context, int kind, const char* text, const POSITION&) {
    if (kind == RK_ASSEMBLY) write_file_assembly(static_cast<TRANSLATION*>(context)->module, text);
}

} // namespace

std::string translate_unit(FILE* stream, const char* name, const CODE& code) {
    TRANSLATION translation;
    MODULE& module = translation.module;
    module.input_name = name;
    module.code = code;
    UNIT_CLIENT unit = {function_read, file_assembly, nullptr, &translation};
    translation.reader = open_icode(stream, name, unit_icode_client(unit));
    if (!translation.reader) refuse(module, "not an icode file");
    validate_opcode_tables(); // trees hold some opcodes beyond the file's own
    module.source_name = icode_source_name(*translation.reader);
    module.debug.wanted = code.dwarf != 0;
    if (module.debug.wanted) begin_debug(module.debug, module.source_name.c_str(), module.code.places);
    read_whole_file(*translation.reader);
    module.symbols = &icode_global_symbols(*translation.reader);
    write_globals(module);
    return module_text(module);
}

} // namespace pelorus
