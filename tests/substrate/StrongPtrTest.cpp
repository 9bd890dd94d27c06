#include <functional>
#include <string>

#include <gtest/gtest.h>

#include <tilewright/substrate/Intercube.h>

namespace Larder {
namespace {

struct Node : ReferenceBase<Node> {
    Node() : ReferenceBase<Node>(this) {}
    ~Node() override { AtEnd(); }
    void extremeUnction() override { LastWords(); }
    std::function<void()> LastWords = [] {}, AtEnd = [] {};
};
struct Leaf : Node {};
struct OtherLeaf : Node {};

using NodePtr = StrongPtr<Node, Node>;
using LeafPtr = StrongPtr<Leaf, Node>;
using WeakNode = WeakPtrImpl<Node, Node>;
using WeakLeaf = WeakPtrImpl<Leaf, Node>;

/// A weak pointer that shows the record; it leaves itself out of the weak count.
struct Probe : WeakNode {
    Probe(const WeakNode& pointer) : WeakNode(pointer) {}
    int strong() const { return block()->strongCount; }
    std::pair<int, unsigned> counts() const { return {block()->strongCount, block()->weakCount - 1}; }
};
using Counts = std::pair<int, unsigned>;

TEST(Counting, IsOneOfEachKindThatAPointerHolds) {
    LeafPtr leaf = Ref<Leaf>();
    const Probe probe(leaf);
    EXPECT_EQ(probe.counts(), Counts(1, 2)) << "weakly by the object and by its holder";
    {
        const WeakLeaf weak = leaf;
        const WeakNode root = weak;
        EXPECT_EQ(probe.counts(), Counts(1, 4));
        const LeafPtr copy = leaf, promoted = weak.promote(), down = NodePtr(copy), fromWeak = root;
        EXPECT_EQ(probe.counts(), Counts(5, 8));
        EXPECT_EQ(down, leaf);
        EXPECT_EQ(fromWeak.rawptr(), leaf.rawptr());
    }
    EXPECT_EQ(probe.counts(), Counts(1, 2));
    LeafPtr moved = std::move(leaf);
    const WeakNode root = std::move(moved);
    EXPECT_FALSE(leaf);
    EXPECT_TRUE(moved) << "a weak pointer takes nothing away";
    EXPECT_EQ(probe.counts(), Counts(1, 3));
}

TEST(Counting, IncludesAPointerOfTheWrongClass) {
    NodePtr node = Ref<Leaf>();
    const Probe probe(node);
    StrongPtr<OtherLeaf, Node> wrong = node;
    EXPECT_FALSE(wrong);
    EXPECT_EQ(wrong.rawptr(), nullptr);
    EXPECT_EQ(wrong, node);
    node = {};
    EXPECT_TRUE(LeafPtr(wrong)) << "the object lives and is still found";
    wrong = {};
    EXPECT_FALSE(probe);
}

TEST(Death, SpeaksLastWordsOnceThenMarksThenDestroys) {
    LeafPtr leaf = Ref<Leaf>();
    const Probe probe(leaf);
    const WeakLeaf weak = leaf;
    std::string order;
    leaf->LastWords = [&] {
        order += "words ";
        { const LeafPtr passing = weak; }
        EXPECT_EQ(probe.strong(), dyingMark);
        EXPECT_TRUE(weak.rawptr());
        EXPECT_FALSE(weak.promote());
    };
    leaf->AtEnd = [&] {
        order += "end";
        EXPECT_EQ(probe.strong(), -1);
        EXPECT_FALSE(weak);
    };
    leaf = {};
    EXPECT_EQ(order, "words end");

    // The record stays for the weak holders, and nothing revives the object.
    const LeafPtr tooLate = weak;
    probe.ref();
    EXPECT_FALSE(tooLate);
    EXPECT_FALSE(weak.promote());
    EXPECT_EQ(weak.rawptr(), nullptr);
    EXPECT_EQ(static_cast<void*>(weak), nullptr);
    EXPECT_EQ(probe.counts(), Counts(-1, 2));
}

TEST(Counting, StaysRightWhereAStrongPointerIsWrittenToAsAWeakOne) {
    NodePtr a = Ref<Node>(), b = Ref<Node>();
    const Probe probeA(a), probeB(b);
    WeakNode &strongA = a, &strongB = b;
    std::swap(strongA, strongB);
    EXPECT_EQ(a.rawptr(), probeB.rawptr());
    EXPECT_EQ(std::pair(probeA.strong(), probeB.strong()), std::pair(1, 1));

    WeakNode weak(a);
    std::swap(strongB, weak);
    EXPECT_EQ(probeB.strong(), 2) << "held by both strong pointers now";
    EXPECT_FALSE(probeA) << "only a weak pointer is left";
    EXPECT_EQ(weak, static_cast<const WeakNode&>(probeA));

    NodePtr c = Ref<Node>();
    const Probe probeC(c);
    strongA = c;
    EXPECT_EQ(std::pair(probeC.strong(), probeB.strong()), std::pair(2, 1));
    strongA = WeakNode();
    EXPECT_FALSE(a);
    strongA = std::move(c);
    EXPECT_EQ(probeC.strong(), 1);
    b = {};
    a = {};
    EXPECT_FALSE(probeB);
    EXPECT_FALSE(probeC);
}

/// What is reported of pointers in disorder.
std::string reported(const std::function<void()>& act) {
    testing::internal::CaptureStderr();
    act();
    return testing::internal::GetCapturedStderr();
}

TEST(Disorder, IsReportedOfAPointerBuiltFromItselfAndOfATypedWordThatDisagrees) {
    const LeafPtr leaf = Ref<Leaf>();
    alignas(LeafPtr) unsigned char place[sizeof(LeafPtr)];
    auto* const pointer = new (place) LeafPtr(leaf);
    const Probe probe(leaf);
    const std::string report = reported([&] { new (place) LeafPtr(*pointer); });
    EXPECT_NE(report.find("is built from itself"), std::string::npos);
    EXPECT_EQ(pointer->rawptr(), leaf.rawptr()) << "it works from what the word held";
    EXPECT_EQ(probe.strong(), 3);
    // The place has taken its counts twice, and gives them back once.
    probe.unref();
    WeakNode surplus(leaf);
    surplus.wunref();
    pointer->~LeafPtr();

    struct Liar : WeakLeaf {
        explicit Liar(const WeakLeaf& other, Leaf* typed) : WeakLeaf(other) { Typed = typed; }
    };
    Leaf other;
    const Liar liar(leaf, &other);
    EXPECT_NE(
        reported([&] { EXPECT_EQ(liar.rawptr(), &other) << "the typed word wins"; }).find("inconsistent"),
        std::string::npos);
}

struct Label : Interface<Label> {};
struct LongLabel : Label {};
struct Stamp : Interface<Stamp> {};

TEST(Intercube, HoldsOneInterfaceOfEachDomain) {
    WeakPtrImpl<LongLabel, InterfaceBase> label;
    {
        const Intercube object;
        EXPECT_FALSE(object.findInterface(typeid(Label)));
        object.addInterface({});
        object.addInterface(Ref<Label>());
        object.addInterface(Ref<Stamp>());
        object.addInterface(Ref<LongLabel>());
        label = object.findInterface(typeid(Label));
        EXPECT_TRUE(label) << "a derived class takes the place in its parent's domain";
        EXPECT_TRUE(object.findInterface(typeid(Stamp)));
        EXPECT_FALSE(object.findInterface(typeid(LongLabel)));
    }
    EXPECT_FALSE(label);
}

} // namespace
} // namespace Larder
