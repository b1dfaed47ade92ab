#pragma once
// What the tests of lists share: a fixture, elements with a value, and a list as one short text.

#include <gtest/gtest.h>

#include <memory>
#include <string>

#include "util/i_os_mutex.h"
#include "util/i_os_thread.h"
#include "util/i_trace.h"
#include "util/l_univ.h"

/// Each test begins with nothing printed and ends with no list alive.
struct ListTest : testing::Test {
    ListTest() {
        printed.clear();
        setTraceSink([](const char* text) {
            EXPECT_EQ(systemMutex()->owner_id, threadId());  // so nobody else comes in
            printed += text;
        });
    }
    ~ListTest() override {
        setTraceSink(nullptr);
        EXPECT_EQ(l_univ_alive, 0);
    }

    static inline std::string printed;
};

template <typename Element, typename Value>
std::unique_ptr<Element> made(Value value) {
    auto element = std::make_unique<Element>();
    element->value = value;
    return element;
}

/// The digits and letters of a list, and where the cursor stands: "123@2". Its nodes must be linked
/// both ways, and only the cursor's be the one under it.
inline std::string shown(const l_univ& l) {
    std::string text;
    int position = 0;
    const l_univ::Node* before = nullptr;
    for (const auto* n = l.prem; n; n = n->suiv) {
        text += n->val->id_type == t_int
                    ? std::to_string(static_cast<const el_integer*>(n->val)->value)
                    : std::string(1, static_cast<const el_char*>(n->val)->value);
        EXPECT_EQ(n->prec, before);
        EXPECT_EQ(n == l.cour, ++position == l.pos_curseur);
        before = n;
    }
    EXPECT_EQ(l.dern, before);
    EXPECT_EQ(l.count(), position);
    EXPECT_EQ(l.empty(), position == 0);
    EXPECT_EQ(l.off(), l.cour == nullptr);
    return text + "@" + std::to_string(l.pos_curseur);
}
