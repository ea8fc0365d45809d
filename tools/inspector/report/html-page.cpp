#include "inspector/report/html-page.h"

#include "inspector/output/safe-text.h"

namespace inspector {

void HtmlPage::text(std::string_view text) {
    std::string escaped;
    for (const char c : shownText(text)) {
        if (c == '<')
            escaped += "&lt;";
        else if (c == '&')
            escaped += "&amp;";
        else
            escaped += c;
    }
    raw(escaped);
}

void HtmlPage::element(std::string_view name, std::string_view content) {
    raw("<" + std::string(name) + ">");
    text(content);
    raw("</" + std::string(name.substr(0, name.find(' '))) + ">\n");
}

void HtmlPage::row(const std::vector<std::string>& cells) {
    raw("<tr>");
    for (const std::string& cell : cells)
        element("td", cell);
    raw("</tr>\n");
}

void HtmlPage::titles(std::initializer_list<std::string_view> cells) {
    raw("<tr>");
    for (const std::string_view cell : cells)
        element("th scope=\"col\"", cell);
    raw("</tr>\n");
}

} // namespace inspector
