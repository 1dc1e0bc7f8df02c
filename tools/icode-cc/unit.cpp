// Refusals and positions; see unit.h.
#include "unit.h"

#include "clang/Basic/SourceManager.h"

namespace pelorus {

void refuse(UNIT& unit, clang::SourceLocation place, const std::string& what) {
    clang::DiagnosticsEngine& diagnostics = unit.ast->getDiagnostics();
    const unsigned id = diagnostics.getCustomDiagID(clang::DiagnosticsEngine::Error, "%0 has no icode");
    diagnostics.Report(place.isValid() ? place : unit.here, id) << what;
    unit.refused = true;
}

std::string fitting_text(UNIT& unit, const std::string& text, const char* what) {
    if (text.size() <= LONGEST_TEXT) return text;
    refuse(unit, std::string(what) + " of more than " + std::to_string(LONGEST_TEXT) + " bytes");
    return text.substr(0, LONGEST_TEXT);
}

POSITION position_of(const UNIT& unit, clang::SourceLocation place) {
    if (place.isInvalid()) return {};
    const clang::PresumedLoc presumed = unit.ast->getSourceManager().getPresumedLoc(place);
    if (presumed.isInvalid()) return {};
    return {intern_name(presumed.getFilename()), presumed.getLine(), presumed.getColumn()};
}

} // namespace pelorus
