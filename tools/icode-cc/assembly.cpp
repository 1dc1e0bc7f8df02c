// Inline assembly; see assembly.h.
//
// 1. clang reads the constraints. 2. Each operand becomes a string and an argument of a function that exists
// for this assembly alone; outputs in registers are its result and temporaries. 3. The function is called,
// and the outputs are assigned.
#include "assembly.h"

#include "clang/AST/Attr.h"
#include "clang/Basic/TargetInfo.h"

#include "expressions.h"

namespace pelorus {

using namespace clang;

namespace {

using CONSTRAINT = TargetInfo::ConstraintInfo;

// One operand: how the function takes it, and the object that an output goes to.
struct OPERAND_OF_ASSEMBLY {
    const Expr* expression;
    std::string constraint; // as in docs/icode.md
    bool in_memory;
    TYPE* type;     // in a register: of the value there
    NODE* object;   // output: its lvalue; used by copies
    SYMBOL* holder; // output in a register that is not the result: the temporary that gets it; else null
};

struct ASSEMBLY {
    BODY& body;
    const GCCAsmStmt* statement;
    std::vector<CONSTRAINT> outputs{}, inputs{};
    std::vector<OPERAND_OF_ASSEMBLY> operands{}; // outputs first
    std::vector<NODE*> arguments{};
    std::vector<TYPE*> parameters{};
    SYMBOL* result = nullptr; // the first output in a register
    bool good = true;
};

void refuse_operand(ASSEMBLY& assembly, const Expr* operand, const char* what) {
    refuse(assembly.body.unit, operand->getExprLoc(), what);
    assembly.good = false;
}

bool is_memory_letter(char letter) { return StringRef("moV<>QU").contains(letter); }

// The letters of a constraint's first alternative that concern memory, or those that do not. What is not
// known of an operand in memory is told by its address alone.
std::string letters_of(StringRef constraint, bool in_memory) {
    std::string letters;
    constraint = constraint.take_until([](char c) { return c == ',' || c == '#'; });
    for (size_t i = 0; i < constraint.size(); ++i) {
        const char letter = constraint[i];
        const bool is_pair = letter == 'U' || letter == 'T';
        const StringRef code = constraint.substr(i, is_pair ? 2 : 1);
        if (is_pair) ++i;
        if (StringRef("=+%&*?!").contains(letter)) continue;
        if (in_memory && (is_memory_letter(letter) || letter == 'g')) {
            const bool is_special = letter == 'Q' || letter == 'U';
            return is_special ? code.str() : "m";
        }
        if (in_memory || is_memory_letter(letter)) continue;
        letters += letter == 'g' || letter == 'X' ? "ri" : letter == 'p' ? "r" : code.str();
    }
    return letters;
}

// The register that a local variable is bound to by its declaration, in braces; "" for others.
std::string named_register(const Expr* operand) {
    const auto* name = dyn_cast<DeclRefExpr>(operand->IgnoreParenImpCasts());
    const auto* variable = name ? dyn_cast<VarDecl>(name->getDecl()) : nullptr;
    const auto* label = variable ? variable->getAttr<AsmLabelAttr>() : nullptr;
    if (!label || variable->getStorageClass() != SC_Register || variable->isFileVarDecl()) return "";
    StringRef text = label->getLabel();
    text.consume_front("%");
    return "{" + text.lower() + "}";
}

// Small integers lie in a whole register.
TYPE* register_type(ASSEMBLY& assembly, const Expr* operand) {
    UNIT& unit = assembly.body.unit;
    const QualType type = operand->getType().getAtomicUnqualifiedType();
    if (!type->isScalarType() || type->isAnyComplexType()) {
        refuse_operand(assembly, operand, "an operand of assembly that is no number or pointer");
        return int_type(unit);
    }
    TYPE* made = icode_type(unit, type);
    return type_is_integer(made) && made->size < 4 ? int_type(unit) : made;
}

NODE* in_register_type(NODE* value, TYPE* type) {
    const bool both_numbers = type_is_arithmetic(value->type) && type_is_arithmetic(type);
    if (both_numbers) return arithmetic_conversion(value, type);
    return type_strip(value->type) == type ? value : pointer_conversion(value, type);
}

bool read_constraints(ASSEMBLY& assembly) {
    const GCCAsmStmt* s = assembly.statement;
    const TargetInfo& target = assembly.body.unit.ast->getTargetInfo();
    for (unsigned i = 0; i < s->getNumOutputs(); ++i) {
        CONSTRAINT info(s->getOutputConstraint(i), s->getOutputName(i));
        if (!target.validateOutputConstraint(info)) return false;
        assembly.outputs.push_back(info);
    }
    for (unsigned i = 0; i < s->getNumInputs(); ++i) {
        CONSTRAINT info(s->getInputConstraint(i), s->getInputName(i));
        if (!target.validateInputConstraint(assembly.outputs, info)) return false;
        assembly.inputs.push_back(info);
    }
    return true;
}

void add_argument(ASSEMBLY& assembly, NODE* value) {
    assembly.arguments.push_back(value);
    assembly.parameters.push_back(type_strip(value->type));
}

NODE* pointer_to(ASSEMBLY& assembly, NODE* object) {
    return address_of(object, assembly.body.unit.types.make_pointer(type_strip(object->type)));
}

// The object of an output. One that is not just a variable has its address computed once, before.
NODE* output_object(ASSEMBLY& assembly, const Expr* output) {
    BODY& body = assembly.body;
    NODE* object = lvalue_of(body, output);
    if (object->op == OP_NAME) return object;
    if (output->refersToBitField()) {
        if (has_side_effects(body, output)) refuse_operand(assembly, output, "this bit-field as an operand");
        return object;
    }
    const SAVED_VALUE address =
        save_value(body, address_of(object, body.unit.types.make_pointer(object->type)));
    emit(body, address.assignment);
    return object_at(use_local(address.symbol), object->type);
}

void add_output(ASSEMBLY& assembly, unsigned number) {
    BODY& body = assembly.body;
    const Expr* expression = assembly.statement->getOutputExpr(number);
    CONSTRAINT& info = assembly.outputs[number];
    OPERAND_OF_ASSEMBLY operand{expression, "=", !info.allowsRegister(), nullptr, nullptr, nullptr};
    if (info.earlyClobber()) operand.constraint += "&";
    operand.object = output_object(assembly, expression);
    const std::string letters =
        letters_of(assembly.statement->getOutputConstraint(number), operand.in_memory);
    if (operand.in_memory) {
        operand.constraint += "*" + letters;
        add_argument(assembly, pointer_to(assembly, copy_tree(operand.object)));
    } else {
        const std::string bound = named_register(expression);
        operand.constraint += bound.empty() ? letters : bound;
        operand.type = register_type(assembly, expression);
        operand.holder = new_temporary_local(body, operand.type);
        if (!assembly.result)
            assembly.result = operand.holder;
        else
            add_argument(assembly, pointer_to(assembly, use_local(operand.holder)));
    }
    assembly.operands.push_back(operand);
}

NODE* input_value(ASSEMBLY& assembly, const Expr* input, const CONSTRAINT& info) {
    BODY& body = assembly.body;
    if (NODE* constant = constant_of(body, input)) return constant;
    NODE* value = value_of(body, input);
    if (!info.allowsRegister() && value->op != OP_UAND)
        refuse_operand(assembly, input, "an operand of assembly that is not constant");
    return value;
}

void add_input(ASSEMBLY& assembly, unsigned number) {
    const Expr* expression = assembly.statement->getInputExpr(number);
    const CONSTRAINT& info = assembly.inputs[number];
    const bool in_memory = info.allowsMemory() && !info.allowsRegister();
    OPERAND_OF_ASSEMBLY operand{expression, "", in_memory, nullptr, nullptr, nullptr};
    const std::string letters = letters_of(assembly.statement->getInputConstraint(number), in_memory);
    if (info.hasTiedOperand()) {
        const OPERAND_OF_ASSEMBLY& output = assembly.operands[info.getTiedOperand()];
        operand.constraint = std::to_string(info.getTiedOperand());
        operand.type = output.type ? output.type : register_type(assembly, expression);
    } else if (in_memory) {
        operand.constraint = "*" + letters;
        add_argument(assembly, pointer_to(assembly, lvalue_of(assembly.body, expression)));
    } else {
        const std::string bound = named_register(expression);
        operand.constraint = bound.empty() ? letters : bound;
        operand.type = register_type(assembly, expression);
    }
    if (operand.type)
        add_argument(assembly, in_register_type(input_value(assembly, expression, info), operand.type));
    assembly.operands.push_back(operand);
}

// The old value of an output that is read, too: an input behind all others, which the text does not name.
void add_old_value(ASSEMBLY& assembly, unsigned number) {
    const OPERAND_OF_ASSEMBLY output = assembly.operands[number];
    OPERAND_OF_ASSEMBLY operand{
        output.expression, std::to_string(number), output.in_memory, output.type, nullptr, nullptr};
    if (output.in_memory) {
        operand.constraint = output.constraint.substr(output.constraint.find('*'));
        add_argument(assembly, pointer_to(assembly, copy_tree(output.object)));
    } else {
        add_argument(assembly, in_register_type(copy_tree(output.object), output.type));
    }
    assembly.operands.push_back(operand);
}

// The text with `%0`, `%Q1`, `%%` and `%=`; names of operands have become numbers.
std::string template_of(ASSEMBLY& assembly) {
    SmallVector<GCCAsmStmt::AsmStringPiece, 8> pieces;
    unsigned offset = 0;
    std::string text;
    if (assembly.statement->AnalyzeAsmString(pieces, *assembly.body.unit.ast, offset)) return text;
    for (const GCCAsmStmt::AsmStringPiece& piece : pieces) {
        if (piece.isOperand()) {
            text += "%";
            if (piece.getModifier()) text += piece.getModifier();
            text += std::to_string(piece.getOperandNo());
            continue;
        }
        StringRef rest = piece.getString(); // in it clang has doubled "$" and replaced "%="
        while (!rest.empty()) {
            if (rest.consume_front("${:uid}"))
                text += "%=";
            else if (rest.consume_front("$$"))
                text += "$";
            else {
                text += rest.front() == '%' ? "%%" : std::string(1, rest.front());
                rest = rest.drop_front();
            }
        }
    }
    return text;
}

// The function that does what the assembly says; see docs/icode.md.
SYMBOL* assembly_function(ASSEMBLY& assembly, const std::string& text) {
    const GCCAsmStmt* s = assembly.statement;
    std::vector<std::string> strings{"assembly", text};
    bool is_pure = !s->isVolatile() && assembly.result;
    size_t bytes = text.size();
    for (const OPERAND_OF_ASSEMBLY& operand : assembly.operands) {
        is_pure = is_pure && !operand.in_memory && (!operand.holder || operand.holder == assembly.result);
        strings.push_back(operand.constraint);
    }
    for (unsigned i = 0; i < s->getNumClobbers(); ++i) {
        is_pure = is_pure && s->getClobber(i) != "memory";
        strings.push_back("~" + s->getClobber(i).lower());
    }
    for (const std::string& string : strings) bytes += string.size() + 1;
    if (bytes > LONGEST_TEXT) fitting_text(assembly.body.unit, std::string(bytes, ' '), "assembly");
    UNIT& unit = assembly.body.unit;
    TYPE* result = assembly.result ? assembly.result->declared_type : void_type(unit);
    TYPE* type = unit.types.make_function(result, true, false, is_pure ? uint32_t(FA_CONST) : 0u);
    for (TYPE* parameter : assembly.parameters) unit.types.add_parameter(type, parameter);
    return attributed_function(unit, "__builtin_asm", type, strings);
}

void call_assembly(ASSEMBLY& assembly, const std::string& text) {
    BODY& body = assembly.body;
    if (!assembly.good) return;
    SYMBOL* function = assembly_function(assembly, text);
    TYPE* result = assembly.result ? assembly.result->declared_type : void_type(body.unit);
    NODE* call = direct_call(body.unit, result, function, assembly.arguments);
    emit(body, assembly.result ? assignment(use_local(assembly.result), call, result) : call);
    for (const OPERAND_OF_ASSEMBLY& operand : assembly.operands) {
        if (!operand.holder) continue;
        TYPE* type = icode_type(body.unit, operand.expression->getType().getAtomicUnqualifiedType());
        emit(body, assignment(operand.object, in_register_type(use_local(operand.holder), type), type));
    }
}

void convert_operands(BODY& body, const GCCAsmStmt* statement) {
    ASSEMBLY assembly{body, statement};
    if (!read_constraints(assembly))
        return refuse(body.unit, statement->getAsmLoc(), "assembly with these operands");
    for (unsigned i = 0; i < statement->getNumOutputs(); ++i)
        emit_inner_statements(body, statement->getOutputExpr(i));
    for (unsigned i = 0; i < statement->getNumInputs(); ++i)
        emit_inner_statements(body, statement->getInputExpr(i));
    for (unsigned i = 0; i < statement->getNumOutputs(); ++i) add_output(assembly, i);
    for (unsigned i = 0; i < statement->getNumInputs(); ++i) add_input(assembly, i);
    for (unsigned i = 0; i < statement->getNumOutputs(); ++i)
        if (statement->isOutputPlusConstraint(i)) add_old_value(assembly, i);
    call_assembly(assembly, template_of(assembly));
}

// Registers that the text changes, which a record of text alone cannot tell.
bool clobbers_registers(const GCCAsmStmt* assembly) {
    for (unsigned i = 0; i < assembly->getNumClobbers(); ++i)
        if (assembly->getClobber(i) != "memory" && assembly->getClobber(i) != "cc") return true;
    return false;
}

std::string plain_text(const GCCAsmStmt* assembly) {
    std::string text = assembly->getAsmString()->getString().str();
    if (assembly->isSimple()) return text;
    for (size_t at = 0; (at = text.find("%%", at)) != std::string::npos; ++at) text.erase(at, 1);
    return text;
}

} // namespace

void convert_assembly(BODY& body, const AsmStmt* statement) {
    const auto* assembly = dyn_cast<GCCAsmStmt>(statement);
    if (!assembly || assembly->isAsmGoto())
        return refuse(body.unit, statement->getAsmLoc(), "inline assembly with labels");
    if (assembly->getNumOutputs() || assembly->getNumInputs() || clobbers_registers(assembly))
        return convert_operands(body, assembly);
    emit_assembly(body, fitting_text(body.unit, plain_text(assembly), "assembly"));
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
