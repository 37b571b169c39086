#include "rpl/rpl_text.h"

// Texts are the one kind whose m_non_text_flag is clear.
RPL_TEXT::RPL_TEXT() : m_is_html(false) { m_non_text_flag = false; }
RPL_TEXT::RPL_TEXT(const string& name) : RPL_REPORT_SECTION(name), m_is_html(false) { m_non_text_flag = false; }
RPL_TEXT::~RPL_TEXT() {}

RPL_TEXT* RPL_TEXT::dynamic_cast_to_RPL_TEXT() { return this; }
const RPL_TEXT* RPL_TEXT::dynamic_cast_to_RPL_TEXT() const { return this; }
