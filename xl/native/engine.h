#pragma once
// The workbook engine: an in-process implementation of the object model of xl/xl.h over .xlsx,
// .xlsm and .csv files.

#include <memory>

#include "xl/office_bridge.h"
#include "xl/xl.h"

namespace sheaflow::xl::native {

// A new application instance (Excel_Start): no workbook open, the find settings at their
// defaults. With an office bridge, .xls files are read and written through it; the bridge ends
// with the application.
std::unique_ptr<xl::Application> create_application(std::unique_ptr<OfficeBridge> office = nullptr);

}  // namespace sheaflow::xl::native
