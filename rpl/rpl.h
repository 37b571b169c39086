// Everything the library offers its callers, in one include.
#ifndef RPL_H
#define RPL_H

#include "rpl/rpl_version.h"
#include "rpl/rpl_types.h"
#include "rpl/rpl_msg.h"
#include "rpl/rpl_report_section.h"
#include "rpl/rpl_folder.h"
#include "rpl/rpl_text.h"
#include "rpl/rpl_chart.h"
#include "rpl/rpl_embedded.h"
#include "rpl/rpl_cmp_summary.h"
#include "rpl/rpl_gauges.h"
#include "rpl/rpl_table.h"
#include "rpl/rpl_report_toc.h"
#include "rpl/rpl_report_settings_file.h"

#endif
