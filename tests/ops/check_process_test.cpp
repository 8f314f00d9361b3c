#include "ops/check_process.h"

#include <gtest/gtest.h>

#include "ops/registry.h"
#include "shell/settings.h"

namespace sheaflow::ops {
namespace {

TEST(CheckProcess, OperationsWithoutProceduresAreRefused) {
    shell::ParameterStore store;
    int refused = 0;
    for (const shell::OperationDecl& d : shell::declarations()) {
        const Procedures* p = find_procedures(d.category, d.key_name);
        std::string msg = Check_Process(d.category, d.name, store.params(d));
        if (d.is_separator() || p == nullptr || p->check == nullptr) {
            EXPECT_EQ(msg, kNotImplemented) << d.category << " " << d.name;
            ++refused;
        }
    }
    EXPECT_GT(refused, 0);
}

}  // namespace
}  // namespace sheaflow::ops
