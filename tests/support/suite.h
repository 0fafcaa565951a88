// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <QtTest>

/// The test classes of one executable. Called with the name of a class it runs that class, and QtTest gets the other
/// arguments; without a name it runs all of them, each in a process of its own; with --list it names them.
namespace suite {
struct Registration
{
    Registration(const char *name, int (*run)(int argc, char **argv));
};
} // namespace suite

/// Stands at the end of a test's file, where a main function would be.
#define REGISTER_TEST(Class)                                                                                           \
    static const suite::Registration registered##Class(#Class, [](int argc, char **argv) {                             \
        Class test;                                                                                                    \
        return QTest::qExec(&test, argc, argv);                                                                        \
    });
