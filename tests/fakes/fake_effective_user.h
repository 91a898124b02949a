#pragma once

#include <vector>

#include "platform/effective_user.h"

namespace fakes
{

/// Says who it acts as and remembers every switch; nothing really changes.
class FakeEffectiveUser final : public platform::EffectiveUser
{
public:
    explicit FakeEffectiveUser(unsigned realUser = 501, unsigned effectiveUser = 501)
        : real(realUser), effective(effectiveUser)
    {
    }

    unsigned effectiveUid() override { return effective; }
    unsigned realUid() override { return real; }
    Guard switchTo(unsigned uid) override
    {
        switches.push_back(uid);
        if (!maySwitch) return {};
        const unsigned before = effective;
        effective = uid;
        return Guard([this, before] {
            effective = before;
            ++restored;
        });
    }

    unsigned real;
    unsigned effective;
    bool maySwitch = true;          ///< False: the switch is refused and the work goes on as before.
    std::vector<unsigned> switches; ///< The users asked for, in order.
    int restored = 0;               ///< How many guards put the user back.
};

} // namespace fakes
