#pragma once

#include <functional>
#include <memory>
#include <utility>
#include <vector>

namespace vantry {

/// A place in a list of observers, held as long as the handle lives. May outlive the list.
class Subscription {
  public:
    Subscription() = default;
    explicit Subscription(std::shared_ptr<void> place) : place_(std::move(place)) {}

  private:
    std::shared_ptr<void> place_;
};

/// Those who want to be told. One thread. A call may add observers, who hear of the next event,
/// and end subscriptions, also its own.
template <class... Arguments>
class ObserverList {
  public:
    using Observer = std::function<void(const Arguments&...)>;

    [[nodiscard]] Subscription add(Observer observer) {
        auto place = std::make_shared<Observer>(std::move(observer));
        observers_.push_back(place);
        return Subscription(std::move(place));
    }

    void tell(const Arguments&... arguments) {
        std::erase_if(observers_, [](const auto& place) { return place.expired(); });
        const auto told = observers_;
        for (const std::weak_ptr<Observer>& place : told) {
            if (const std::shared_ptr<Observer> observer = place.lock()) (*observer)(arguments...);
        }
    }

  private:
    std::vector<std::weak_ptr<Observer>> observers_;
};

}  // namespace vantry
