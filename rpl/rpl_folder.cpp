#include "rpl/rpl_folder.h"

RPL_FOLDER::RPL_FOLDER() {}
RPL_FOLDER::RPL_FOLDER(const string& name) : RPL_REPORT_SECTION(name) {}
RPL_FOLDER::~RPL_FOLDER() {}

RPL_FOLDER* RPL_FOLDER::dynamic_cast_to_RPL_FOLDER() { return this; }
const RPL_FOLDER* RPL_FOLDER::dynamic_cast_to_RPL_FOLDER() const { return this; }
