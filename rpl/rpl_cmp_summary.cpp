#include "rpl/rpl_cmp_summary.h"

RPL_CMP_SUMMARY::RPL_CMP_SUMMARY() : RPL_REPORT_SECTION("Summary") {}
RPL_CMP_SUMMARY::RPL_CMP_SUMMARY(const string& name) : RPL_REPORT_SECTION(name) {}
RPL_CMP_SUMMARY::~RPL_CMP_SUMMARY() {}

RPL_CMP_SUMMARY* RPL_CMP_SUMMARY::dynamic_cast_to_RPL_CMP_SUMMARY() { return this; }
const RPL_CMP_SUMMARY* RPL_CMP_SUMMARY::dynamic_cast_to_RPL_CMP_SUMMARY() const { return this; }
