// State machines over both engines: member functions and functions as handlers.
#include <string>

#include "bodies.h"

namespace {

enum : HsmEvent { kPlay = 1, kPause, kStop };

class Player : public commonpp::machine<Player> {
public:
    Player() : machine("player") {}

    std::string trace;
    HsmEvent in_top(HsmEvent event) { return event == start_event ? go(idle) : event; }

private:
    HsmEvent told(const char* name, HsmEvent event)
    {
        if (event == entry_event || event == exit_event) {
            trace += event == entry_event ? "+" : "-";
            trace += name;
            return 0;
        }
        return event;
    }
    HsmEvent in_idle(HsmEvent event) { return event == kPlay ? go(active) : told("idle", event); }
    HsmEvent in_active(HsmEvent event)
    {
        switch (event) {
        case start_event:
            return go(playing);
        case kStop:
            return go(idle);
        default:
            return told("active", event);
        }
    }
    static HsmEvent in_playing(Player& player, HsmEvent event)
    {
        return event == kPause ? player.go(player.paused) : player.told("playing", event);
    }
    HsmEvent in_paused(HsmEvent event)
    {
        return event == kPlay ? go(playing) : told("paused", event);
    }

public:
    state<&Player::in_idle> idle{"idle", *this};
    state<&Player::in_active> active{"active", *this};
    state<&Player::in_playing> playing{"playing", active};
    state<&Player::in_paused> paused{"paused", active};
};

static_assert(sizeof(decltype(Player::idle)) == sizeof(State));
static_assert(sizeof(commonpp::machine<Player>) == sizeof(Hsm));

BODY(CommonppMachine, HandlersAreMembersAndFunctions)
{
    Player player;
    player.start();
    CHECK(player.is_in(player.idle));
    player.handle(kPlay);
    CHECK(player.is_in(player.playing));
    player.handle(kPause);
    CHECK_EQ(std::string(player.state_name()), "paused");
    player.handle(kPlay);
    player.handle(kStop);
    player.handle(kStop);
    CHECK(player.is_in(player.idle));
    CHECK(!player.is_in(player.active));
    CHECK_EQ(player.trace, "+idle-idle+active+playing-playing+paused-paused+playing"
                           "-playing-active+idle");
    CHECK(player.native()->current == player.idle.native());
}

/// Not the first base, nor at the same address as its owner, and without a handler for the top.
struct Before {
    virtual ~Before() = default;
    long long filler = 7;
};

class Small : public Before, public commonpp::machine<Small> {
public:
    Small() : machine("small") {}
    int events = 0;

private:
    HsmEvent in_only(HsmEvent event)
    {
        events += event == 99 ? 1 : 0;
        return 0;
    }

public:
    state<&Small::in_only> only{"only", *this};
};

BODY(CommonppMachine, WithoutATopHandlerItStaysOnTop)
{
    Small small;
    small.start();
    small.handle(99);
    CHECK_EQ(std::string(small.state_name()), "top");
    CHECK_EQ(small.events, 0);
    small.native()->current = small.only.native();
    small.handle(99);
    CHECK_EQ(small.events, 1);
    CHECK_EQ(small.filler, 7);
}

enum : std::uint32_t { kOpen = 1, kClose, kSkip, kUnknown };

class Door : public Before, public commonpp::ls_machine<Door> {
public:
    explicit Door(std::int32_t depth = INT32_MAX) : ls_machine("door", depth) {}

    std::string trace;
    std::uint32_t trouble = 99;
    int in_master(const ls_hsm_event_t& event)
    {
        return event.type == LS_HSM_EVENT_INIT ? go(closed) : told("master", event);
    }
    int on_trouble(std::uint32_t code, ls_hsm_state_t*, const ls_hsm_event_t& event)
    {
        trouble = code * 1000 + event.value;
        return 0;
    }

private:
    int told(const char* name, const ls_hsm_event_t& event)
    {
        if (event.type == LS_HSM_EVENT_ENTRY || event.type == LS_HSM_EVENT_EXIT) {
            trace += event.type == LS_HSM_EVENT_ENTRY ? "+" : "-";
            trace += name;
        }
        return event.type == LS_HSM_EVENT_USER ? 1 : 0;
    }
    int in_closed(const ls_hsm_event_t& event)
    {
        if (event.type == LS_HSM_EVENT_USER && event.value == kOpen) {
            return go(wide);
        }
        return event.type == LS_HSM_EVENT_USER && event.value == kSkip ? go_and_repeat(wide)
                                                                       : told("closed", event);
    }
    int in_open(const ls_hsm_event_t& event)
    {
        return event.type == LS_HSM_EVENT_USER && event.value == kClose ? go(closed)
                                                                        : told("open", event);
    }
    static int in_wide(Door& door, const ls_hsm_event_t& event)
    {
        if (event.type == LS_HSM_EVENT_USER && event.value == kSkip) {
            door.trace += "!";
            return 0;
        }
        return door.told("wide", event);
    }

public:
    state<&Door::in_closed> closed{"closed", *this};
    state<&Door::in_open> open{"open", *this};
    state<&Door::in_wide> wide{"wide", open};
};

static_assert(sizeof(decltype(Door::wide)) == sizeof(ls_hsm_state_t));
static_assert(sizeof(commonpp::ls_machine<Door>) == sizeof(ls_hsm_t));

BODY(CommonppLsMachine, HandlersAreMembersAndFunctions)
{
    Door door;
    CHECK_EQ(door.start(), 1);
    CHECK(door.is_in(door.closed));
    CHECK_EQ(door.handle(kOpen), 1);
    CHECK_EQ(std::string(door.state_name()), "wide");
    CHECK_EQ(door.handle(kClose), 1);
    CHECK(door.is_in(door.closed));
    CHECK_EQ(door.handle(kSkip), 1);
    CHECK(door.is_in(door.wide));
    CHECK_EQ(door.trace, "+master+closed-closed+open+wide-wide-open+closed-closed+open+wide!");
    CHECK_EQ(door.trouble, 99U);
    CHECK_EQ(door.handle(kUnknown), 1);
    CHECK_EQ(door.trouble, LS_HSM_HOOK_UNHANDLED * 1000U + kUnknown);
    CHECK(door.native()->current == door.wide.native());
    Door shallow(1);
    CHECK_EQ(shallow.native()->depth, 1);
}

class Plain : public commonpp::ls_machine<Plain> {
public:
    Plain() : ls_machine("plain") {}
};

BODY(CommonppLsMachine, NeedsNeitherMasterNorHook)
{
    Plain plain;
    CHECK_EQ(plain.start(), 1);
    CHECK_EQ(plain.handle(5), 1);
    CHECK_EQ(std::string(plain.state_name()), "master");
    CHECK(plain.native()->hook == nullptr);
}

}  // namespace
