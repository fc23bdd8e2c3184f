// Descriptors in tests: made and read with the expectation that all goes well, and counted.
#ifndef PAPERMILL_TESTS_SUPPORT_DESCRIPTORS_H
#define PAPERMILL_TESTS_SUPPORT_DESCRIPTORS_H

#include "platform/apple_events.h"
#include "platform/memory.h"

#include <cstddef>
#include <gtest/gtest.h>
#include <string>
#include <vector>

// A test that has to dispose of every descriptor that it makes.
class descriptor_test : public ::testing::Test {
protected:
    ~descriptor_test() override;

private:
    std::size_t handles_before = platform::live_handles();
};

// The caller disposes of what these make.
AEDesc text_of(const std::string &text);
AEDescList list_of(const std::vector<std::string> &texts);

std::string bytes_of(const AEDesc &desc);

// The item as text, or "error N".
std::string item_of(const AEDescList &list, std::int32_t index);

// The path that the descriptor, coerced to a reference or a specification, leads to, or "error N".
std::string path_as(DescType type, const AEDesc &desc);

#endif
