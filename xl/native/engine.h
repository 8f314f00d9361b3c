#pragma once
// The workbook engine: an in-process implementation of the object model of xl/xl.h over .xlsx,
// .xlsm and .csv files.

#include <memory>

#include "xl/xl.h"

namespace sheaflow::xl::native {

// A new application instance (Excel_Start): no workbook open, the find settings at their
// defaults.
std::unique_ptr<xl::Application> create_application();

}  // namespace sheaflow::xl::native
