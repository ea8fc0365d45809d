#pragma once

#include "inspector/input/document.h"

#include <string_view>

namespace inspector {

/// Tells by its first keys whether a text is a reply or what stands in one. Looks no further than
/// it must; a text that is no JSON counts as a reply.
Document::Form formOf(std::string_view text, const DocumentKind& kind);

} // namespace inspector
