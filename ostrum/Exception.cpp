#include <ostrum/Exception.h>

Exception::Exception(uint32_t code, const String& message, const String& detail)
    : m_Code(code), m_Message(message), m_Detail(detail) {}

Exception::~Exception() = default;

String Exception::Format() const {
    return m_Detail.empty() ? m_Message : m_Message + ": " + m_Detail;
}
