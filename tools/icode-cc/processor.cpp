// Builtin functions that stand for one instruction of the processor, and registers as variables; see
// expressions.h.
//
// Each is a call of a function that is assembly with operands. Those that only compute may be removed or
// merged with equal ones, the others hold accesses of memory apart.
#include "clang/AST/Attr.h"

#include "operands.h"

namespace pelorus {

using namespace clang;

namespace {

struct INSTRUCTION {
    const char* name; // of the builtin function behind "__builtin_arm_"
    const char* text; // %0 is the result, when there is one
    bool only_computes;
    std::vector<const char*> constraints; // of the arguments
};

const INSTRUCTION* instruction_of(StringRef name) {
    static const INSTRUCTION instructions[] = {
        {"nop", "nop", false, {}},
        {"yield", "yield", false, {}},
        {"wfe", "wfe", false, {}},
        {"wfi", "wfi", false, {}},
        {"sev", "sev", false, {}},
        {"dmb", "dmb %0", false, {"i"}},
        {"dsb", "dsb %0", false, {"i"}},
        {"isb", "isb %0", false, {"i"}},
        {"dbg", "dbg %0", false, {"i"}},
        {"get_fpscr", "vmrs %0, fpscr", false, {}},
        {"set_fpscr", "vmsr fpscr, %0", false, {"r"}},
        {"rbit", "rbit %0, %1", true, {"r"}},
        {"clz", "clz %0, %1", true, {"r"}},
        {"qadd", "qadd %0, %1, %2", true, {"r", "r"}},
        {"qsub", "qsub %0, %1, %2", true, {"r", "r"}},
        {"ssat", "ssat %0, %2, %1", true, {"r", "i"}},
        {"usat", "usat %0, %2, %1", true, {"r", "i"}},
    };
    if (!name.consume_front("__builtin_arm_")) return nullptr;
    for (const INSTRUCTION& instruction : instructions)
        if (name == instruction.name) return &instruction;
    return nullptr;
}

} // namespace

NODE* value_of_instruction(BODY& body, const CallExpr* call, unsigned builtin) {
    const INSTRUCTION* instruction = instruction_of(body.unit.ast->BuiltinInfo.getName(builtin));
    if (!instruction) return nullptr;
    UNIT& unit = body.unit;
    TYPE* result = icode_type(unit, call->getType());
    TYPE* type = unit.types.make_function(result, true, false, instruction->only_computes ? FA_CONST : 0u);
    std::vector<std::string> strings{"assembly", instruction->text};
    if (!type_is_void(result)) strings.emplace_back("=r");
    std::vector<NODE*> arguments;
    for (size_t i = 0; i < instruction->constraints.size(); ++i) {
        arguments.push_back(value_of(body, call->getArg(static_cast<unsigned>(i))));
        unit.types.add_parameter(type, type_strip(arguments.back()->type));
        strings.emplace_back(instruction->constraints[i]);
    }
    if (!instruction->only_computes) strings.emplace_back("~memory");
    return direct_call(unit, result, attributed_function(unit, "__builtin_asm", type, strings), arguments);
}

// A global variable bound to a register is no object. Only the stack pointer is always there to be read.
NODE* value_of_register(BODY& body, const Expr* object) {
    const auto* name = dyn_cast<DeclRefExpr>(object->IgnoreParens());
    const auto* variable = name ? dyn_cast<VarDecl>(name->getDecl()) : nullptr;
    if (!variable || variable->getStorageClass() != SC_Register || !variable->isFileVarDecl()) return nullptr;
    const auto* label = variable->getAttr<AsmLabelAttr>();
    TYPE* type = icode_type(body.unit, variable->getType().getUnqualifiedType());
    if (!label || (label->getLabel() != "sp" && label->getLabel() != "r13") || type->size != 4)
        return nullptr;
    TYPE* function = body.unit.types.make_function(type, true, false, 0);
    return direct_call(
        body.unit, type,
        attributed_function(body.unit, "__builtin_asm", function, {"assembly", "mov %0, sp", "=r"}), {});
}

} // namespace pelorus
