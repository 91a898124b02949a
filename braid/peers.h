#pragma once

#include "braid/engine.h"

namespace braid
{

/// One value for each of the two homes.
template <class T>
struct PerPeer {
    T local{};
    T network{};

    T& operator[](Peer peer) { return peer == Peer::Local ? local : network; }
    const T& operator[](Peer peer) const { return peer == Peer::Local ? local : network; }
};

inline constexpr Peer kPeers[] = {Peer::Local, Peer::Network};

constexpr Peer otherPeer(Peer peer)
{
    return peer == Peer::Local ? Peer::Network : Peer::Local;
}

constexpr PerPeer<bool> onlyOn(Peer peer)
{
    return {peer == Peer::Local, peer == Peer::Network};
}

/// As a person reads it in a message.
constexpr const char* homeWords(Peer peer)
{
    return peer == Peer::Local ? "the local home" : "the network home";
}

} // namespace braid
