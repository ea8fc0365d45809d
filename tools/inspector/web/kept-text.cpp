#include "inspector/web/kept-text.h"

namespace inspector {

KeptText::Text KeptText::recent(const std::function<std::string()>& make) {
    const bool isHeld = m_text.use_count() > 1;
    if (m_text &&
        (Clock::now() - m_time < m_longestAge || (isHeld && *m_heldBytes > m_mostHeldBytes)))
        return m_text;
    return renewed(make);
}

KeptText::Text KeptText::renewed(const std::function<std::string()>& make) {
    m_text.reset();
    auto text = std::make_unique<const std::string>(make());
    *m_heldBytes += text->size();
    m_text = {text.release(), [held = m_heldBytes](const std::string* gone) {
                  *held -= gone->size();
                  delete gone;
              }};
    m_time = Clock::now();
    return m_text;
}

} // namespace inspector
