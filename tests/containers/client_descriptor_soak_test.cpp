// A race for client descriptors: no number has two owners, and none is wasted.
#include <array>
#include <atomic>
#include <cstdint>
#include <deque>
#include <memory>
#include <random>
#include <vector>

#include <gmock/gmock.h>

#include "client_descriptor.h"
#include "soak.h"

using namespace harness;

namespace {

constexpr unsigned kThreads = 4;
constexpr std::size_t kMostOfEach = 64;

/// As many as all threads can have at once: the lowest one that is free is never above.
constexpr std::size_t kHighest = kThreads * kMostOfEach;

/// Whose each number is; 0 is nobody.
std::array<std::atomic<unsigned>, kHighest + 1> owners{};

/// A thread and its numbers.
class Client {
public:
    explicit Client(unsigned id) : random_(id), id_(id) {}

    void step()
    {
        // Grows and shrinks in turns.
        if (random_() % 512 == 0) {
            growing_ = !growing_;
        }
        const bool takes = random_() % 8 < (growing_ ? 6U : 2U);
        if (takes && own_.size() < kMostOfEach) {
            const std::int32_t number = Allocate_Descriptor();
            ASSERT_TRUE(1 <= number && number <= static_cast<std::int32_t>(kHighest)) << number;
            // Relaxed: the table's own lock has to keep them in order.
            unsigned nobody = 0;
            ASSERT_TRUE(
                owner_of(number).compare_exchange_strong(nobody, id_, std::memory_order_relaxed))
                << number << " is that of thread " << nobody << ", too";
            own_.push_back(number);
        } else if (!own_.empty()) {
            give_back(random_() % own_.size());
        }
    }

    void give_all_back()
    {
        while (!own_.empty()) {
            give_back(own_.size() - 1);
        }
    }

private:
    static std::atomic<unsigned>& owner_of(std::int32_t number)
    {
        return owners[static_cast<std::size_t>(number)];
    }

    void give_back(std::size_t place)
    {
        const std::int32_t number = own_[place];
        own_[place] = own_.back();
        own_.pop_back();
        ASSERT_EQ(owner_of(number).exchange(0, std::memory_order_relaxed), id_) << number;
        ASSERT_EQ(Deallocate_Descriptor(number), 0);
    }

    std::mt19937 random_;
    unsigned id_;
    bool growing_ = true;
    std::vector<std::int32_t> own_{};
};

TEST(ClientDescriptorSoak, NoNumberHasTwoOwners)
{
    run_race([](std::chrono::milliseconds time) {
        std::deque<Client> clients;
        std::vector<std::function<void()>> steps;
        for (unsigned id = 1; id <= kThreads; ++id) {
            Client& client = clients.emplace_back(id);
            steps.emplace_back([&client] { client.step(); });
        }
        race(time, steps);
        for (Client& client : clients) {
            client.give_all_back();
        }
        for (std::int32_t number = 1; number <= static_cast<std::int32_t>(kHighest); ++number) {
            ASSERT_EQ(Allocate_Descriptor(), number) << "a number is lost";
        }
        for (std::int32_t number = 1; number <= static_cast<std::int32_t>(kHighest); ++number) {
            Deallocate_Descriptor(number);
        }
    });
}

}  // namespace
