/// StrongPtr: the reference pointers of the object model, with WeakPtrImpl, Ref and Auto.
///
/// The type of a pointer names the class T that it points at and the reference domain R in which the object
/// is counted: StrongPtr<MemArray<3,float>, Cacheable>. A pointer to the domain's root is one word, the
/// record; any other adds the typed address, found once by a dynamic cast.
///
/// Invariants:
/// 1. A WeakPtrImpl holds one weak count, a StrongPtr one weak and one strong count; DynPtr, their base,
///    holds none.
/// 2. A pointer of the wrong class is no error: it keeps its counts, but tests false and gives null.
/// 3. Conversions go through the record's object and never leave the domain.
/// 4. Pointers compare by record: two pointers are equal if they hold the same object, whatever their
///    classes.
///
/// rawptr(), and with it `->` and `*`, casts anew at each call and reports a typed address that disagrees; in
/// inner loops take the raw pointer once. A truth test costs no cast.
///
/// Thread safety: see ReferenceBase.h. Making a strong pointer from a weak one is safe only while some strong
/// holder is known to remain; WeakPtrImpl::promote is safe at any time.
#pragma once

#include <concepts>
#include <cstdint>
#include <type_traits>
#include <typeinfo>
#include <utility>

#include <tilewright/substrate/ReferenceBase.h>
#include <tilewright/substrate/SpeakPtr.h>

namespace Larder {

template <class T, class R> class StrongPtr;

/// The root form: the record and the operations on its counts.
template <class R> class TILEWRIGHT_API DynPtr<R, R> {
public:
    DynPtr() = default;

    /// The same record; takes no count.
    DynPtr(const DynPtr& other) noexcept : DynPtr(other.block()) {}
    DynPtr& operator=(const DynPtr&) = delete;

    /// Takes one strong count; nothing on a null or dead pointer.
    void ref() const {
        ReferenceBlock<R>* const record = block();
        if (!record || record->strongCount.load() < 0)
            return;
        if (record->strongCount.fetch_add(1) != 0 || !record->object)
            return;
        try {
            DomainHooks<R>::firstStrongReference(*record->object);
        } catch (...) {
            // The exception goes to whoever wanted to hold the object; nobody else knows of it.
            unref();
            throw;
        }
    }

    /// Gives one strong count back; with the last one the object dies.
    void unref() const {
        ReferenceBlock<R>* const record = block();
        if (!record || record->strongCount.load() < 1)
            return;
        if (record->strongCount.fetch_sub(1) == 1)
            destroyObject(*record);
    }

    /// Gives one weak count back; with the last one the record goes and this pointer becomes null.
    void wunref() {
        if (ReferenceBlock<R>* const record = block(); record && ReferenceBase<R>::releaseWeak(record))
            setBlock(nullptr);
    }

    /// The object, null if it is gone.
    R* rawptr() const noexcept { return alive() ? block()->object : nullptr; }
    R* operator->() const noexcept { return rawptr(); }
    R& operator*() const noexcept { return *rawptr(); }

    operator void*() const { return rawptr(); }
    bool operator!() const { return !rawptr(); }

    friend bool operator==(const DynPtr& a, const DynPtr& b) { return a.block() == b.block(); }

    /// The address of the domain's one null pointer.
    static DynPtr* getNullPtr() {
        static DynPtr mynullptr;
        return &mynullptr;
    }

protected:
    template <class, class> friend class WeakPtrImpl;

    explicit DynPtr(ReferenceBlock<R>* record) { setBlock(record); }

    ReferenceBlock<R>* block() const { return reinterpret_cast<ReferenceBlock<R>*>(Word & ~strongMark); }
    void setBlock(ReferenceBlock<R>* record) {
        Word = reinterpret_cast<std::uintptr_t>(record) | (Word & strongMark);
    }

    bool isStrong() const { return (Word & strongMark) != 0; }
    void markStrong() { Word |= strongMark; }

    bool alive() const { return block() && block()->alive(); }

    /// The object as T: the typed word of a pointer that is being built.
    template <class T> T* castObject() const {
        if constexpr (std::is_same_v<T, R>)
            return rawptr();
        else
            return alive() ? dynamic_cast<T*>(block()->object) : nullptr;
    }

private:
    /// No record lies at an odd address, so the lowest bit is free to say that the pointer is a StrongPtr. It
    /// stays with the pointer for life, null or not.
    static constexpr std::uintptr_t strongMark = 1;
    static_assert(alignof(ReferenceBlock<R>) > strongMark);

    static void destroyObject(ReferenceBlock<R>& record) {
        R* const object = record.object;
        record.strongCount.exchange(dyingMark);
        object->extremeUnction();
        record.strongCount.exchange(-1);
        record.object = reinterpret_cast<R*>(goneMark);
        DomainHooks<R>::markedDead(*object);
        delete object;
    }

    /// The address of the record, and the mark.
    std::uintptr_t Word = 0;
};

/// Adds the typed word for a class T below the root.
template <class T, class R> class TILEWRIGHT_API DynPtr : public DynPtr<R, R> {
public:
    DynPtr() = default;
    DynPtr(const DynPtr& other) noexcept = default;

    /// The same object, seen as T; takes no count.
    DynPtr(const DynPtr<R, R>& root) noexcept : DynPtr<R, R>(root), Typed(this->template castObject<T>()) {}

    /// The object as T; null if it is gone or no T. A typed word that disagrees with a fresh cast is
    /// reported, and then wins.
    T* rawptr() const noexcept {
        if (!this->alive())
            return nullptr;
        T* const fresh = dynamic_cast<T*>(this->block()->object);
        if (fresh != Typed)
            reportInconsistency(fresh);
        return Typed;
    }
    T* operator->() const noexcept { return rawptr(); }
    T& operator*() const noexcept { return *rawptr(); }

    /// Unchecked; for truth tests.
    operator void*() const { return this->alive() ? Typed : nullptr; }
    bool operator!() const { return !this->alive() || !Typed; }

protected:
    T* Typed = nullptr;

private:
    void reportInconsistency(const void* fresh) const {
        const R* const object = this->block()->object;
        SpeakPtr::theSpeaker()->InconsistentDynPtr(typeid(*Typed), typeid(T), typeid(*object), fresh, Typed,
                                                   object, Typed);
    }
};

/// Observes an object without keeping it alive.
///
/// A WeakPtrImpl& may really be a StrongPtr: assigning or swapping through it exchanges the objects, and each
/// pointer stays as strong or weak as it is. To hold an object for the first time may throw.
template <class T, class R> class TILEWRIGHT_API WeakPtrImpl : public DynPtr<T, R> {
    static constexpr bool isRoot = std::is_same_v<T, R>;

public:
    WeakPtrImpl() = default;

    WeakPtrImpl(const ReferenceBase<R>* object) noexcept { take(object ? object->Block : nullptr); }

    WeakPtrImpl(const WeakPtrImpl& other) noexcept : DynPtr<T, R>(other) { takeCopy(other); }

    template <class U>
    requires(!std::same_as<U, T>) WeakPtrImpl(const WeakPtrImpl<U, R>& other)
    noexcept { take(other.block()); }

    /// A strong pointer keeps what it has: its two counts belong together.
    WeakPtrImpl(WeakPtrImpl&& other) noexcept {
        if (other.isStrong())
            takeFrom(other);
        else
            swapWords(other);
    }

    template <class U>
    WeakPtrImpl(StrongPtr<U, R>&& other) noexcept
        : WeakPtrImpl(static_cast<const WeakPtrImpl<U, R>&>(other)) {}

    WeakPtrImpl& operator=(const WeakPtrImpl& other) {
        WeakPtrImpl copy(other);
        exchange(copy);
        return *this;
    }

    WeakPtrImpl& operator=(WeakPtrImpl&& other) { // NOLINT(performance-noexcept-move-constructor)
        exchange(other);
        return *this;
    }

    ~WeakPtrImpl() { this->wunref(); }

    /// A strong pointer if some strong holder remains, else null. Unlike a conversion it can't lose a race
    /// against the last holder, and it doesn't adopt an object that nobody holds yet.
    StrongPtr<T, R> promote() const;

protected:
    template <class, class> friend class WeakPtrImpl;

    /// For two pointers that are both strong or both weak.
    void swapWords(WeakPtrImpl& other) noexcept {
        ReferenceBlock<R>* const record = this->block();
        this->setBlock(other.block());
        other.setBlock(record);
        if constexpr (!isRoot)
            std::swap(this->Typed, other.Typed);
    }

private:
    /// Each pointer gets the other's object and keeps its own strength. Changes nothing if it throws.
    void exchange(WeakPtrImpl& other) {
        if (this->isStrong() == other.isStrong()) {
            swapWords(other);
            return;
        }
        WeakPtrImpl& weak = this->isStrong() ? other : *this;
        weak.ref();
        swapWords(other);
        weak.unref();
    }

    /// Becomes one more weak holder of `record`.
    void take(ReferenceBlock<R>* record) noexcept {
        if (!record)
            return;
        record->weakCount.fetch_add(1);
        this->setBlock(record);
        if constexpr (!isRoot)
            this->Typed = this->template castObject<T>();
    }

    /// The same for the record of `other`, whose typed word serves as long as its object lives.
    void takeFrom(const WeakPtrImpl& other) noexcept {
        this->setBlock(other.block());
        if constexpr (!isRoot)
            this->Typed = other.Typed;
        takeCopy(other);
    }

    /// The words are copied already; a typed word is not trusted beyond its object's life.
    void takeCopy(const WeakPtrImpl& other) noexcept {
        if (this == &other)
            SpeakPtr::theSpeaker()->SelfConstruction(typeid(DynPtr<R, R>), this, this->block());
        if (!this->block())
            return;
        if constexpr (!isRoot)
            if (!this->alive())
                this->Typed = nullptr;
        this->block()->weakCount.fetch_add(1);
    }
};

/// Owns a share of an object.
template <class T, class R> class TILEWRIGHT_API StrongPtr : public WeakPtrImpl<T, R> {
public:
    StrongPtr() { this->markStrong(); }

    StrongPtr(const ReferenceBase<R>* object) : WeakPtrImpl<T, R>(object) { hold(); }

    StrongPtr(const StrongPtr& other) : WeakPtrImpl<T, R>(static_cast<const WeakPtrImpl<T, R>&>(other)) {
        hold();
    }

    template <class U> StrongPtr(const WeakPtrImpl<U, R>& other) : WeakPtrImpl<T, R>(other) { hold(); }

    template <class U>
    requires(!std::same_as<U, T>) StrongPtr(const StrongPtr<U, R>& other)
        : WeakPtrImpl<T, R>(static_cast<const WeakPtrImpl<U, R>&>(other)) {
        hold();
    }

    StrongPtr(StrongPtr&& other) noexcept : StrongPtr() { this->swapWords(other); }

    StrongPtr& operator=(StrongPtr other) noexcept {
        this->swapWords(other);
        return *this;
    }

    ~StrongPtr() { this->unref(); }

private:
    friend WeakPtrImpl<T, R>;

    void hold() {
        this->ref();
        this->markStrong();
    }

    struct AlreadyCounted {};
    StrongPtr(const WeakPtrImpl<T, R>& other, AlreadyCounted) noexcept : WeakPtrImpl<T, R>(other) {
        this->markStrong();
    }
};

template <class T, class R> StrongPtr<T, R> WeakPtrImpl<T, R>::promote() const {
    ReferenceBlock<R>* const record = this->block();
    if (!record)
        return {};
    // Counts from half the mark on belong to a dying object, and 0 to one that is not held.
    int held = record->strongCount.load();
    while (held > 0 && held < dyingMark / 2)
        if (record->strongCount.compare_exchange_weak(held, held + 1))
            return StrongPtr<T, R>(*this, typename StrongPtr<T, R>::AlreadyCounted());
    return {};
}

/// Makes a new T and holds it: Ref<Grid> grid; Ref<MemArray<3,float>> array(size).
template <class T> class Ref : public StrongPtr<T, typename T::reference_domain_t> {
    template <class... Args>
    static constexpr bool isCopyOrMove = sizeof...(Args) == 1 &&
                                         (std::derived_from<std::remove_cvref_t<Args>, Ref> && ...);

public:
    /// Hands `args` to T's constructor.
    template <class... Args>
    requires(!isCopyOrMove<Args...>) explicit Ref(Args&&... args)
        : StrongPtr<T, typename T::reference_domain_t>(new T(std::forward<Args>(args)...)) {}
};

/// A T of static storage under the scheme: it holds one strong count on itself, so that no pointer can end
/// it.
template <class T> class Auto : public T {
public:
    template <class... Args> explicit Auto(Args&&... args) : T(std::forward<Args>(args)...) {
        using R = typename T::reference_domain_t;
        WeakPtrImpl<R, R>(static_cast<const ReferenceBase<R>*>(this)).ref();
    }
};

} // namespace Larder
