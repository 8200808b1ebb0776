#pragma once

#include <gtest/gtest.h>
#include <string>

/// Each case has an empty "/var/tmp", a network of its own that is a loopback interface, and for programs a
/// single one: a `date` that notes its arguments and, without any, prints what say_date set. Skipped where
/// there are no namespaces.
class own_machine : public testing::Test {
protected:
    void SetUp() override;

    /// What `date` prints from now on.
    static void say_date(const std::string &text);
    /// The arguments of every run of `date` so far, one line each; forgets them.
    static std::string date_runs();
};
