#include "inspector/output/json-output.h"

namespace inspector {

void JsonOutput::findings(const Findings& findings) {
    beginList();
    for (const Finding& x : findings) {
        beginObject();
        member("name", x.name);
        member("severity", nameOf(x.severity));
        member("document", x.document);
        member("path", x.path);
        member("message", x.message);
        member("remedy", x.remedy);
        if (x.line != 0) {
            member("line", x.line);
            member("column", x.column);
        }
        endObject();
    }
    endList();
}

} // namespace inspector
