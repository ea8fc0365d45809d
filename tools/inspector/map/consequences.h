#pragma once

#include "inspector/output/finding.h"

#include <string_view>

namespace inspector {

/// Takes out of @p checks what follows from a name or a number that @p causes tell of at the same
/// place: that needn't be told again. A number that the daemon takes for a zero with which nothing
/// ever works becomes an error by it.
void dropConsequences(Findings& causes, Findings& checks);

/// Takes out of @p causes what tells how a register is read that @p checks call one that never is.
void dropOfUnread(const Findings& checks, Findings& causes);

/// Says @p text of names of serial parameters that the daemon doesn't know, where it isn't sure to
/// use the serial line.
void easeSerialNames(Findings& findings, Severity severity, std::string_view text);

} // namespace inspector
