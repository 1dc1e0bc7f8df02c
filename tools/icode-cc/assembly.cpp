// Inline assembly; see assembly.h.
#include "assembly.h"

#include "expressions.h"

namespace pelorus {

using namespace clang;

namespace {

std::string assembly_text(const GCCAsmStmt* assembly) {
    std::string text = assembly->getAsmString()->getString().str();
    if (assembly->isSimple()) return text;
    for (size_t at = 0; (at = text.find("%%", at)) != std::string::npos; ++at) text.erase(at, 1);
    return text;
}

// Registers that a text changes are not told to the code generator.
bool clobbers_registers(const GCCAsmStmt* assembly) {
    for (unsigned i = 0; i < assembly->getNumClobbers(); ++i)
        if (assembly->getClobber(i) != "memory" && assembly->getClobber(i) != "cc") return true;
    return false;
}

// `value` by way of a variable whose contents nobody may foresee.
NODE* hidden_value(BODY& body, NODE* value) {
    TYPE* type = type_strip(value->type);
    SYMBOL* place =
        new_local(body, "$hidden", body.unit.types.make_qualified(type, Q_VOLATILE), type->align, {});
    emit(body, assignment(use_local(place), value, type));
    return use_local(place);
}

// An operand that the text may reach through memory: whoever knows its address may change it.
bool is_in_memory(const Expr* operand) {
    const QualType type = operand->getType();
    return operand->isGLValue() && !type->isScalarType();
}

void hide_input(BODY& body, const Expr* input) {
    emit_inner_statements(body, input);
    if (!input->isGLValue()) {
        hidden_value(body, value_of(body, input));
    } else if (!input->refersToBitField()) {
        hidden_value(body, address_of(lvalue_of(body, input), void_pointer_type(body.unit)));
    }
}

// The input that must be where output `number` is; null: none.
const Expr* tied_input(const GCCAsmStmt* assembly, unsigned number) {
    const std::string own = std::to_string(number);
    for (unsigned i = 0; i < assembly->getNumInputs(); ++i)
        if (assembly->getInputConstraint(i) == own) return assembly->getInputExpr(i);
    return nullptr;
}

void hide_output(BODY& body, const GCCAsmStmt* assembly, unsigned number) {
    const Expr* output = assembly->getOutputExpr(number);
    const bool reads = assembly->isOutputPlusConstraint(number);
    const Expr* tied = tied_input(assembly, number);
    if (!reads && !tied) return; // an unspecified value: the old one will do
    emit_inner_statements(body, output);
    if (is_in_memory(output)) return hide_input(body, output);
    TYPE* type = icode_type(body.unit, output->getType().getUnqualifiedType());
    NODE* value = hidden_value(body, tied ? value_of(body, tied) : lvalue_of(body, output));
    if (type_is_arithmetic(type) && type_is_arithmetic(value->type))
        value = arithmetic_conversion(value, type);
    emit(body, assignment(lvalue_of(body, output), value, type));
}

// An empty text does nothing to the operands, but the compiler shall not know that.
void hide_operands(BODY& body, const GCCAsmStmt* assembly) {
    for (unsigned i = 0; i < assembly->getNumInputs(); ++i) {
        unsigned number = 0;
        const bool is_tied = !assembly->getInputConstraint(i).getAsInteger(10, number);
        if (!is_tied) hide_input(body, assembly->getInputExpr(i));
    }
    for (unsigned i = 0; i < assembly->getNumOutputs(); ++i) hide_output(body, assembly, i);
}

} // namespace

void convert_assembly(BODY& body, const AsmStmt* statement) {
    const auto* assembly = dyn_cast<GCCAsmStmt>(statement);
    if (!assembly || assembly->isAsmGoto() || clobbers_registers(assembly))
        return refuse(body.unit, statement->getAsmLoc(),
                      "inline assembly with labels or clobbered registers");
    const std::string text = assembly_text(assembly);
    if (assembly->getNumOutputs() || assembly->getNumInputs()) {
        if (text.find_first_not_of(" \t\n;") != std::string::npos)
            return refuse(body.unit, statement->getAsmLoc(), "inline assembly with operands");
        hide_operands(body, assembly);
    }
    emit_assembly(body, fitting_text(body.unit, text, "assembly"));
}

// One record takes so many lines as fit: what stands outside functions is one text in the end.
void write_file_assembly(UNIT& unit, const FileScopeAsmDecl* assembly) {
    unit.here = assembly->getAsmLoc();
    std::string rest = assembly->getAsmString()->getString().str();
    do {
        size_t end = rest.size();
        if (end > LONGEST_TEXT) end = rest.rfind('\n', LONGEST_TEXT);
        const std::string text = fitting_text(unit, rest.substr(0, end), "a line of assembly");
        write_assembly(*unit.writer, text.c_str(), position_of(unit, assembly->getLocation()));
        rest.erase(0, end == std::string::npos ? end : end + 1);
    } while (!rest.empty());
}

} // namespace pelorus
