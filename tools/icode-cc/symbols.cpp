// Symbols of the file; see symbols.h.
#include "symbols.h"

#include "clang/AST/Attr.h"
#include "clang/Basic/IdentifierTable.h"

#include "memory/zone.h"

namespace pelorus {

using namespace clang;

namespace {

// A linkage name: the C name behind one underscore.
std::string underscored(StringRef name) {
    std::string text(1, '_');
    text.append(name.data(), name.size());
    return text;
}

// Refusals point at the declaration while its symbol is made.
class STANDING {
public:
    STANDING(UNIT& unit, SourceLocation place) : unit_(unit), before_(unit.here) { unit.here = place; }
    ~STANDING() { unit_.here = before_; }
    STANDING(const STANDING&) = delete;
    STANDING& operator=(const STANDING&) = delete;

private:
    UNIT& unit_;
    SourceLocation before_;
};

// How a variable or function of the file is linked.
struct LINKAGE {
    STORAGE_CLASS storage_class;
    uint16_t flags;
};

constexpr LINKAGE EXTERNAL_REFERENCE{SC_EXTERN, 0};
constexpr LINKAGE EXTERNAL_DEFINITION{SC_EXTERN_DEF, SF_DEFINED};
constexpr LINKAGE INTERNAL_DEFINITION{SC_STATIC, SF_DEFINED | SF_INTERNAL};

void attach_pragma(SYMBOL* symbol, const std::vector<std::string>& strings) {
    auto* pragma = zone_new<PRAGMA>(false);
    pragma->kind = PK_ATTRIBUTE;
    pragma->count = static_cast<decltype(pragma->count)>(strings.size());
    pragma->strings = zone_array<const char*>(false, strings.size());
    for (size_t i = 0; i < strings.size(); ++i) pragma->strings[i] = zone_string(false, strings[i]);
    PRAGMA** place = &symbol->pragmas;
    while (*place) place = &(*place)->next;
    *place = pragma;
}

void add_attribute(UNIT& unit, SYMBOL* symbol, const char* name, const std::string& given = {},
                   bool has_argument = true) {
    const std::string argument = fitting_text(unit, given, "the text of an attribute");
    attach_pragma(symbol,
                  has_argument ? std::vector<std::string>{name, argument} : std::vector<std::string>{name});
}

void add_flag_attribute(UNIT& unit, SYMBOL* symbol, const char* name) {
    add_attribute(unit, symbol, name, {}, false);
}

const char* visibility_name(Visibility visibility) {
    return visibility == HiddenVisibility ? "hidden" : "protected";
}

// What the file declares under the name that an attribute gives; null: nothing.
const NamedDecl* named_declaration(const UNIT& unit, StringRef name) {
    const DeclarationName identifier(&unit.ast->Idents.get(name));
    for (const NamedDecl* found : unit.ast->getTranslationUnitDecl()->lookup(identifier))
        if (isa<FunctionDecl, VarDecl>(found)) return found;
    return nullptr;
}

SYMBOL* declared_symbol(UNIT& unit, const NamedDecl* declared) {
    if (const auto* function = dyn_cast_or_null<FunctionDecl>(declared))
        return function_symbol(unit, function);
    if (const auto* variable = dyn_cast_or_null<VarDecl>(declared)) return variable_symbol(unit, variable);
    return nullptr;
}

// What another name stands for is needed, too.
void need_target(UNIT& unit, const AliasAttr* alias) {
    if (SYMBOL* symbol = declared_symbol(unit, named_declaration(unit, alias->getAliasee())))
        symbol->flags |= SF_REFERENCED;
}

// A weak reference to something that the file declares under its own name is that symbol; null for others.
SYMBOL* weakly_referred_symbol(UNIT& unit, const Decl* declared) {
    const Decl* latest = declared->getMostRecentDecl();
    if (!latest->hasAttr<WeakRefAttr>() || !latest->hasAttr<AliasAttr>()) return nullptr;
    return declared_symbol(unit, named_declaration(unit, latest->getAttr<AliasAttr>()->getAliasee()));
}

// What the source orders about calls of a function. A function that is not to be optimized stays apart.
void add_inlining_attributes(UNIT& unit, SYMBOL* symbol, const Decl* decl) {
    if (decl->hasAttr<NoInlineAttr>() || decl->hasAttr<OptimizeNoneAttr>())
        add_flag_attribute(unit, symbol, "noinline");
    else if (decl->hasAttr<AlwaysInlineAttr>())
        add_flag_attribute(unit, symbol, "always_inline");
}

void add_attributes(UNIT& unit, SYMBOL* symbol, const Decl* declared) {
    const Decl* decl = declared->getMostRecentDecl();
    if (const auto* section = decl->getAttr<SectionAttr>())
        add_attribute(unit, symbol, "section", section->getName().str());
    if (const auto* alias = alias_of(decl)) {
        add_attribute(unit, symbol, "alias", underscored(alias->getAliasee()));
        need_target(unit, alias);
    }
    // What the command line says holds for definitions only.
    const LinkageInfo linkage = cast<NamedDecl>(decl)->getLinkageAndVisibility();
    if (linkage.getVisibility() != DefaultVisibility &&
        (linkage.isVisibilityExplicit() || (symbol->flags & SF_DEFINED)))
        add_attribute(unit, symbol, "visibility", visibility_name(linkage.getVisibility()));
    if (decl->hasAttr<AlignedAttr>()) add_attribute(unit, symbol, "aligned", std::to_string(symbol->align));
    if (const auto* before = decl->getAttr<ConstructorAttr>()) {
        const bool plain = before->getPriority() == ConstructorAttr::DefaultPriority;
        add_attribute(unit, symbol, "constructor", std::to_string(before->getPriority()), !plain);
    }
    if (const auto* after = decl->getAttr<DestructorAttr>()) {
        const bool plain = after->getPriority() == DestructorAttr::DefaultPriority;
        add_attribute(unit, symbol, "destructor", std::to_string(after->getPriority()), !plain);
    }
    if (decl->hasAttr<UsedAttr>()) add_flag_attribute(unit, symbol, "used");
    add_inlining_attributes(unit, symbol, decl);
    if (decl->hasAttr<ReturnsTwiceAttr>()) add_flag_attribute(unit, symbol, "returns_twice");
    if (decl->hasAttr<NakedAttr>()) add_flag_attribute(unit, symbol, "naked");
    if (const auto* called = decl->getAttr<ARMInterruptAttr>())
        add_attribute(unit, symbol, "interrupt",
                      ARMInterruptAttr::ConvertInterruptTypeToStr(called->getInterrupt()),
                      called->getInterrupt() != ARMInterruptAttr::Generic);
    if (decl->hasAttr<IFuncAttr>()) refuse(unit, decl->getLocation(), "an indirect function");
}

// A call may come back a second time. clang knows some of these by their names, when their types are right.
bool returns_twice(const FunctionDecl* function) {
    static constexpr const char* names[] = {"setjmp",      "_setjmp", "__setjmp",  "sigsetjmp",
                                            "__sigsetjmp", "vfork",   "getcontext"};
    if (function->hasAttr<ReturnsTwiceAttr>()) return true;
    const IdentifierInfo* name = function->getIdentifier();
    return name && !function->hasBody() && function->isExternallyVisible() &&
           llvm::is_contained(names, name->getName());
}

uint32_t function_attributes(const FunctionDecl* function) {
    uint32_t attributes = 0;
    if (function->isNoReturn()) attributes |= FA_NORETURN;
    if (function->hasAttr<ConstAttr>()) attributes |= FA_CONST;
    if (function->hasAttr<PureAttr>()) attributes |= FA_PURE;
    if (returns_twice(function)) attributes |= FA_RETURNS_TWICE;
    return attributes;
}

LINKAGE function_linkage(const UNIT& unit, const FunctionDecl* function) {
    const FunctionDecl* definition = definition_of(function);
    if (alias_of(function))
        return function->getFormalLinkage() == Linkage::Internal ? INTERNAL_DEFINITION : EXTERNAL_DEFINITION;
    if (!definition) return EXTERNAL_REFERENCE;
    switch (unit.ast->GetGVALinkageForFunction(definition)) {
    case GVA_Internal: return INTERNAL_DEFINITION;
    case GVA_AvailableExternally: return EXTERNAL_REFERENCE;
    default: return EXTERNAL_DEFINITION;
    }
}

// Whether calls are to be expanded. `inline` is a wish that -fno-inline takes back, the attribute an order.
bool wants_expansion(const UNIT& unit, const FunctionDecl* function) {
    return function->hasAttr<AlwaysInlineAttr>() || (unit.hints_inline && function->isInlineSpecified());
}

uint16_t function_flags(const UNIT& unit, const FunctionDecl* function) {
    uint16_t flags = 0;
    if (wants_expansion(unit, function)) flags |= SF_INLINE;
    if (function->isNoReturn()) flags |= SF_NORETURN;
    if (function->isWeak()) flags |= SF_WEAK;
    return flags;
}

SYMBOL* make_global(UNIT& unit, SYMBOL_FIELDS fields, const std::string& given) {
    const std::string name = fitting_text(unit, given, "a name");
    fields.name = name.c_str();
    SYMBOL*& known = unit.by_name[name];
    if (!known) known = new_file_symbol(fields, 0);
    return known;
}

uint32_t order_of(UNIT& unit, const Decl* canonical) {
    uint32_t& order = unit.order[canonical];
    if (!order) order = unit.next_order++;
    return order;
}

// The declaration with the complete type: the definition, if the file has one, else the latest.
const VarDecl* best_declaration(const VarDecl* variable) {
    if (const VarDecl* definition = variable->getDefinition()) return definition;
    if (const VarDecl* acting = const_cast<VarDecl*>(variable)->getActingDefinition()) return acting;
    return variable->getMostRecentDecl();
}

LINKAGE variable_linkage(const VarDecl* variable) {
    if (variable->isStaticLocal()) return {SC_STATIC, SF_DEFINED | SF_INTERNAL | SF_LOCAL_STATIC};
    const bool internal = variable->getFormalLinkage() == Linkage::Internal;
    const bool defined = variable->hasDefinition() != VarDecl::DeclarationOnly || alias_of(variable);
    if (!defined) return EXTERNAL_REFERENCE;
    return internal ? INTERNAL_DEFINITION : EXTERNAL_DEFINITION;
}

// An object that is merged with definitions of other files.
bool is_common(const UNIT& unit, const VarDecl* variable) {
    if (variable->hasAttr<CommonAttr>()) return true;
    return unit.merges_tentative && !variable->hasAttr<NoCommonAttr>() && !variable->hasAttr<SectionAttr>() &&
           !variable->isWeak() && variable->getTLSKind() == VarDecl::TLS_None &&
           variable->hasExternalFormalLinkage();
}

uint16_t variable_flags(const UNIT& unit, const VarDecl* variable) {
    uint16_t flags = 0;
    if (variable->isWeak()) flags |= SF_WEAK;
    if (variable->getTLSKind() != VarDecl::TLS_None) flags |= SF_THREAD;
    if (variable->hasDefinition() == VarDecl::TentativeDefinition) {
        flags |= SF_TENTATIVE;
        if (is_common(unit, variable)) flags |= SF_COMMON;
    }
    return flags;
}

uint32_t object_size(const UNIT& unit, const VarDecl* variable) {
    if (variable->getType()->isIncompleteType()) return 0;
    uint32_t size = size_in_bytes(unit, variable->getType());
    if (variable->hasInit() && variable->hasFlexibleArrayInit(*unit.ast))
        size += static_cast<uint32_t>(variable->getFlexibleArrayInitChars(*unit.ast).getQuantity());
    return size;
}

std::string variable_name(UNIT& unit, const VarDecl* variable) {
    std::string name = linkage_name(variable);
    if (variable->isStaticLocal()) name += "$" + std::to_string(unit.next_static++);
    return name;
}

} // namespace

const AliasAttr* alias_of(const Decl* declaration) {
    const Decl* latest = declaration->getMostRecentDecl();
    return latest->hasAttr<WeakRefAttr>() ? nullptr : latest->getAttr<AliasAttr>();
}

const FunctionDecl* definition_of(const FunctionDecl* function) {
    const FunctionDecl* found = function->getMostRecentDecl();
    while (found && !found->doesThisDeclarationHaveABody()) found = found->getPreviousDecl();
    return found;
}

std::string linkage_name(const NamedDecl* declaration) {
    if (const auto* label = declaration->getMostRecentDecl()->getAttr<AsmLabelAttr>()) {
        StringRef text = label->getLabel();
        text.consume_front("\01");
        return underscored(text);
    }
    const Decl* latest = declaration->getMostRecentDecl();
    if (latest->hasAttr<WeakRefAttr>() && latest->hasAttr<AliasAttr>())
        return underscored(latest->getAttr<AliasAttr>()->getAliasee());
    return underscored(declaration->getNameAsString());
}

SYMBOL* function_symbol(UNIT& unit, const FunctionDecl* function) {
    const FunctionDecl* canonical = function->getCanonicalDecl();
    if (SYMBOL* known = unit.symbols.lookup(canonical)) return known;
    if (SYMBOL* referred = weakly_referred_symbol(unit, function)) return unit.symbols[canonical] = referred;
    const FunctionDecl* definition = definition_of(function);
    const FunctionDecl* latest = definition ? definition : function->getMostRecentDecl();
    const LINKAGE linkage = function_linkage(unit, function);
    const STANDING standing(unit, latest->getLocation());
    SYMBOL_FIELDS fields{};
    fields.storage_class = static_cast<int8_t>(linkage.storage_class);
    fields.flags = static_cast<uint16_t>(linkage.flags | function_flags(unit, function->getMostRecentDecl()));
    fields.type = function_type(unit, latest->getType(), function_attributes(function->getMostRecentDecl()));
    fields.align = 4;
    fields.order = order_of(unit, canonical);
    fields.position = position_of(unit, latest->getLocation());
    SYMBOL* symbol = make_global(unit, fields, linkage_name(function));
    unit.symbols[canonical] = symbol;
    add_attributes(unit, symbol, function);
    return symbol;
}

SYMBOL* variable_symbol(UNIT& unit, const VarDecl* variable) {
    const VarDecl* canonical = variable->getCanonicalDecl();
    if (SYMBOL* known = unit.symbols.lookup(canonical)) return known;
    if (SYMBOL* referred = weakly_referred_symbol(unit, variable)) return unit.symbols[canonical] = referred;
    const VarDecl* best = best_declaration(variable);
    const LINKAGE linkage = variable_linkage(variable);
    const STANDING standing(unit, best->getLocation());
    if (best->getStorageClass() == SC_Register)
        refuse(unit, best->getLocation(), "a global register variable");
    SYMBOL_FIELDS fields{};
    fields.storage_class = static_cast<int8_t>(linkage.storage_class);
    fields.flags = static_cast<uint16_t>(linkage.flags | variable_flags(unit, best));
    fields.type = icode_type(unit, best->getType());
    fields.size = object_size(unit, best);
    fields.align = static_cast<uint32_t>(unit.ast->getDeclAlign(best).getQuantity());
    fields.order = order_of(unit, canonical);
    fields.position = position_of(unit, best->getLocation());
    SYMBOL* symbol = make_global(unit, fields, variable_name(unit, variable));
    unit.symbols[canonical] = symbol;
    add_attributes(unit, symbol, variable);
    return symbol;
}

SYMBOL* called_symbol(UNIT& unit, const FunctionDecl* function) {
    const FunctionDecl* definition = definition_of(function);
    if (!definition || unit.ast->GetGVALinkageForFunction(definition) != GVA_AvailableExternally)
        return function_symbol(unit, function);
    const FunctionDecl* canonical = function->getCanonicalDecl();
    if (SYMBOL* known = unit.inline_copies.lookup(canonical)) return known;
    SYMBOL_FIELDS fields{};
    fields.storage_class = SC_STATIC;
    fields.flags =
        static_cast<uint16_t>(SF_DEFINED | SF_INTERNAL | (function_flags(unit, definition) & ~SF_WEAK));
    fields.type = function_type(unit, definition->getType(), function_attributes(definition));
    fields.align = 4;
    fields.order = unit.next_order++;
    fields.position = position_of(unit, definition->getLocation());
    SYMBOL* symbol = make_global(unit, fields, linkage_name(function) + "$inline");
    add_inlining_attributes(unit, symbol, definition);
    unit.inline_copies[canonical] = symbol;
    unit.pending_copies.push_back({definition, symbol});
    return symbol;
}

SYMBOL* library_function(UNIT& unit, const std::string& name, TYPE* type) {
    if (SYMBOL* known = unit.by_name.lookup(underscored(name))) return known;
    const DeclarationName identifier(&unit.ast->Idents.get(name));
    // What clang declares for `__sync_...` by itself has other types than the library's functions.
    const bool is_declared = !StringRef(name).starts_with("__sync_");
    for (const NamedDecl* found : unit.ast->getTranslationUnitDecl()->lookup(identifier))
        if (const auto* function = dyn_cast<FunctionDecl>(found); function && is_declared)
            return function_symbol(unit, function);
    SYMBOL_FIELDS fields{};
    fields.storage_class = SC_EXTERN;
    fields.type = type;
    fields.align = 4;
    fields.order = unit.next_order++;
    return make_global(unit, fields, underscored(name));
}

SYMBOL* library_function(UNIT& unit, const std::string& name, TYPE* result,
                         const std::vector<TYPE*>& parameters) {
    if (SYMBOL* known = unit.by_name.lookup(underscored(name))) return known;
    TYPE* type = unit.types.make_function(result, true, false, 0);
    for (TYPE* parameter : parameters) unit.types.add_parameter(type, parameter);
    return library_function(unit, name, type);
}

SYMBOL* attributed_function(UNIT& unit, const char* what, TYPE* type,
                            const std::vector<std::string>& attribute) {
    SYMBOL_FIELDS fields{};
    fields.storage_class = SC_EXTERN;
    fields.type = type;
    fields.align = 4;
    fields.order = unit.next_order++;
    SYMBOL* symbol = make_global(unit, fields, underscored(what) + "$" + std::to_string(unit.next_static++));
    attach_pragma(symbol, attribute);
    return symbol;
}

SYMBOL* unnamed_object(UNIT& unit, const char* what, TYPE* type, uint32_t size, uint32_t align,
                       SourceLocation place) {
    SYMBOL_FIELDS fields{};
    fields.storage_class = SC_STATIC;
    fields.flags = SF_DEFINED | SF_INTERNAL | SF_REFERENCED;
    fields.type = type;
    fields.size = size;
    fields.align = align;
    fields.order = unit.next_order++;
    fields.position = position_of(unit, place);
    return make_global(unit, fields, underscored(what) + "$" + std::to_string(unit.next_static++));
}

SYMBOL* literal_object(UNIT& unit, const Expr* literal) {
    if (SYMBOL* known = unit.literals.lookup(literal)) return known;
    const QualType type = literal->getType();
    const bool is_string = isa<StringLiteral>(literal);
    const auto align = static_cast<uint32_t>(unit.ast->getTypeAlignInChars(type).getQuantity());
    SYMBOL* symbol = unnamed_object(unit, is_string ? "string" : "literal", icode_type(unit, type),
                                    size_in_bytes(unit, type), align, literal->getBeginLoc());
    unit.literals[literal] = symbol;
    const Expr* value = is_string ? literal : cast<CompoundLiteralExpr>(literal)->getInitializer();
    Expr::EvalResult result;
    if (!is_string && (!value->EvaluateAsRValue(result, *unit.ast, true) || result.HasSideEffects))
        refuse(unit, literal->getBeginLoc(), "an initializer that is not constant");
    if (is_string)
        result.Val = APValue(APValue::LValueBase(literal), CharUnits::Zero(), APValue::NoLValuePath());
    unit.pending_objects.push_back({symbol, result.Val, nullptr, type, literal->getBeginLoc()});
    return symbol;
}

void number_declarations(UNIT& unit) {
    for (const Decl* decl : unit.ast->getTranslationUnitDecl()->decls())
        if (isa<FunctionDecl, VarDecl>(decl)) order_of(unit, decl->getCanonicalDecl());
}

bool must_emit(const UNIT& unit, const FunctionDecl* definition) {
    if (definition != definition_of(definition)) return false;
    if (unit.ast->GetGVALinkageForFunction(definition) == GVA_AvailableExternally) return false;
    return unit.ast->DeclMustBeEmitted(definition) || unit.symbols.count(definition->getCanonicalDecl()) != 0;
}

bool must_emit(const UNIT& unit, const VarDecl* definition) {
    return definition->getFormalLinkage() != Linkage::Internal || definition->hasAttr<UsedAttr>() ||
           unit.symbols.count(definition->getCanonicalDecl()) != 0;
}

} // namespace pelorus
