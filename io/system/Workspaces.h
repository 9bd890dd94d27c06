/// Workspaces: what threads need for a piece of work, kept for the next piece.
#pragma once

#include <functional>
#include <memory>
#include <mutex>
#include <utility>
#include <vector>

namespace Tilewright::Io {

/// Lends out objects, each to one borrower at a time. There are never more of them than borrowers at once.
template <class Workspace> class Workspaces {
public:
    /// `make` makes one more, on the thread of the borrower.
    explicit Workspaces(std::function<std::unique_ptr<Workspace>()> make) : Make(std::move(make)) {}

    /// Gives the object back when it goes.
    class Loan {
    public:
        Loan(Workspaces& owner, Workspace& lent) : Owner(&owner), Lent(&lent) {}
        Loan(Loan&& other) noexcept : Owner(other.Owner), Lent(std::exchange(other.Lent, nullptr)) {}
        Loan& operator=(Loan&&) = delete;
        ~Loan() {
            if (!Lent)
                return;
            const std::lock_guard guard(Owner->Lock);
            Owner->Idle.push_back(Lent);
        }

        Workspace* operator->() const { return Lent; }
        Workspace& operator*() const { return *Lent; }

    private:
        Workspaces* Owner;
        Workspace* Lent;
    };

    Loan borrow() {
        const std::lock_guard guard(Lock);
        if (Idle.empty()) {
            All.push_back(Make());
            Idle.reserve(All.size());
            return {*this, *All.back()};
        }
        Workspace* const lent = Idle.back();
        Idle.pop_back();
        return {*this, *lent};
    }

    /// All objects; to be called when none is lent out.
    template <class Visit> void forEach(const Visit& visit) const {
        for (const auto& workspace : All)
            visit(*workspace);
    }

private:
    std::function<std::unique_ptr<Workspace>()> Make;
    std::mutex Lock;
    std::vector<std::unique_ptr<Workspace>> All;
    std::vector<Workspace*> Idle;
};

} // namespace Tilewright::Io
