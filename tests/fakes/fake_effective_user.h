#pragma once

#include "platform/effective_user.h"

namespace fakes
{

/// Says who it acts as; nothing really changes.
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
        const unsigned before = effective;
        effective = uid;
        return Guard([this, before] { effective = before; });
    }

    unsigned real;
    unsigned effective;
};

} // namespace fakes
