#pragma once
// What the tests of lists share: a fixture, elements with a value, and a list as one short text.

#include <gtest/gtest.h>

#include <memory>
#include <string>
#include <vector>

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

using Elements = std::vector<elem_list*>;

/// What the nodes hold. They must be linked both ways, and only the cursor's be the one under it.
inline Elements elementsOf(const l_univ& l) {
    Elements found;
    const l_univ::Node* before = nullptr;
    for (const auto* n = l.prem; n; n = n->suiv) {
        found.push_back(n->val);
        EXPECT_EQ(n->prec, before);
        EXPECT_EQ(n == l.cour, static_cast<int>(found.size()) == l.pos_curseur);
        before = n;
    }
    EXPECT_EQ(l.dern, before);
    EXPECT_EQ(l.count(), static_cast<int>(found.size()));
    EXPECT_EQ(l.empty(), found.empty());
    EXPECT_EQ(l.off(), l.cour == nullptr);
    return found;
}

/// The digits and letters of elements with the cursor as brackets: "1[2]3", "[]12", "12[]".
inline std::string shown(const Elements& elements, int cursor) {
    std::string text = cursor == 0 ? "[]" : "";
    int position = 0;
    for (const elem_list* v : elements) {
        const auto value = v->id_type == t_int
                               ? std::to_string(static_cast<const el_integer*>(v)->value)
                               : std::string(1, static_cast<const el_char*>(v)->value);
        text += ++position == cursor ? "[" + value + "]" : value;
    }
    return cursor > position ? text + "[]" : text;
}

inline std::string shown(const l_univ& l) { return shown(elementsOf(l), l.pos_curseur); }
