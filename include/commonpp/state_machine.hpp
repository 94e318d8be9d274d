/**
 * @file state_machine.hpp
 * State machines over both engines (hsm.h, ls_hsm.h), with member functions as handlers:
 *
 *     class player : public commonpp::machine<player> {
 *     public:
 *         player() : machine("player") {}
 *     private:
 *         HsmEvent in_idle(HsmEvent event)
 *         {
 *             return event == kPlay ? go(playing) : event;
 *         }
 *         HsmEvent in_playing(HsmEvent event) { ...
 *
 *         state<&player::in_idle> idle{"idle", *this};
 *         state<&player::in_playing> playing{"playing", *this};
 *     };
 *
 * A state's handler is part of its type: the engine calls a function that the compiler makes of it,
 * which calls nothing else. Records are those of the C interface, no byte more. Who may drive a
 * machine, and what handlers must not do, is as the C headers say. hsm_trace.h shows these
 * machines, too, by native().
 */
#pragma once

#include <cstdint>
#include <functional>
#include <type_traits>

#include <common/hsm.h>
#include <common/ls_hsm.h>

namespace commonpp {

/**
 * What machine and ls_machine share, which programs derive from. It cannot be copied or moved, as
 * its states know it.
 * @tparam Owner the class that derives from them; the rest is of the engine: its records, where the
 *         outermost state is, and what sets up a state.
 */
template <class Owner, class Machine, class State, auto top, auto make>
class machine_base {
public:
    /** A state of any handler: what transitions lead to. */
    class any_state {
    public:
        any_state(const any_state&) = delete;
        any_state& operator=(const any_state&) = delete;
        /** The C record, still this object's. */
        State* native() noexcept { return &record_; }

    private:
        friend class machine_base;
        any_state() noexcept = default;

        State record_;
    };

    /**
     * A state, as a member of the owner, behind the one that it is in.
     * @tparam handler a member function of the owner, or a function that gets the owner first, a
     *         lambda without captures say, with the event and result of the engine.
     */
    template <auto handler>
    class state : public any_state {
    public:
        /** An outermost state. @param name not copied. @param in the machine. */
        state(const char* name, machine_base& in) noexcept
        {
            make(this->native(), name, &(in.record_.*top), call<handler>);
        }
        /** A state within another one. @param name not copied. @param super that one. */
        state(const char* name, any_state& super) noexcept
        {
            make(this->native(), name, super.native(), call<handler>);
        }
    };

    machine_base(const machine_base&) = delete;
    machine_base& operator=(const machine_base&) = delete;

    /** Tells whether a state is the current one. */
    [[nodiscard]] bool is_in(any_state& place) const noexcept
    {
        return record_.current == place.native();
    }
    /** The name of the current state. The machine must have been started. */
    [[nodiscard]] const char* state_name() const noexcept { return record_.current->name; }
    /** The C record, still this object's. */
    Machine* native() noexcept { return &record_; }

protected:
    /** @cond */
    machine_base() noexcept : record_{} {}
    ~machine_base() = default;

    /** The record is the first and only member, so that its address is the machine's. */
    static Owner& owner(Machine* record) noexcept
    {
        return static_cast<Owner&>(*reinterpret_cast<machine_base*>(record));
    }
    template <auto handler>
    static HsmEvent call(Hsm* record, HsmEvent event)
    {
        return std::invoke(handler, owner(record), event);
    }
    template <auto handler>
    static int call(ls_hsm_t* record, const ls_hsm_event_t* event, void*, ls_hsm_state_t*)
    {
        return std::invoke(handler, owner(record), *event);
    }
    /** @endcond */

private:
    Machine record_;
};

/**
 * A machine over hsm.h. A handler, HsmEvent (HsmEvent), returns 0 when it has handled the event,
 * go() when it takes a transition, else the event for its superstate.
 * @tparam Owner the class that derives from this. It may have a public member function
 *         HsmEvent in_top(HsmEvent), the handler of the top state, whose start event leads to the
 *         first state; without one the top state handles nothing.
 */
template <class Owner>
class machine : public machine_base<Owner, Hsm, State, &Hsm::top, StateCtor> {
public:
    /** The events that the engine makes; no address and no event of an application's is one. */
    static constexpr HsmEvent start_event = ~HsmEvent{0};
    /** A state is entered. */
    static constexpr HsmEvent entry_event = ~HsmEvent{1};
    /** A state is left. */
    static constexpr HsmEvent exit_event = ~HsmEvent{2};

    /** Enters the top state and follows initial transitions (HsmOnStart()). */
    void start() { HsmOnStart(this->native()); }
    /** Dispatches an event (HsmOnEvent()). @param event not 0; an enumerator, number or address. */
    void handle(HsmEvent event) { HsmOnEvent(this->native(), event); }
    /** Handles nothing, for an owner without such a function. */
    HsmEvent in_top(HsmEvent event) { return event; }

protected:
    /** @param name not copied. */
    explicit machine(const char* name) noexcept
    {
        HsmCtor(this->native(), name, machine::template call<&Owner::in_top>, start_event,
                entry_event, exit_event);
    }

    /** Takes a transition, for handlers (HsmStateTran_()). @return 0: handled. */
    HsmEvent go(typename machine::any_state& target)
    {
        HsmStateTran_(this->native(), target.native());
        return 0;
    }
};

/**
 * A machine over ls_hsm.h. A handler, int (const ls_hsm_event_t&), returns 0 when it has handled
 * the event.
 * @tparam Owner the class that derives from this. It may have the public member functions
 *         int in_master(const ls_hsm_event_t&), the callback of the master state, without which
 *         that handles all but user events; and int on_trouble(uint32_t code, ls_hsm_state_t*,
 *         const ls_hsm_event_t&), the hook.
 */
template <class Owner>
class ls_machine
    : public machine_base<Owner, ls_hsm_t, ls_hsm_state_t, &ls_hsm_t::master, ls_hsm_state_init> {
public:
    /** Starts the machine. @return as ls_hsm_run(). */
    int start() { return ls_hsm_run(this->native()); }
    /** Dispatches a user event. @return as ls_hsm_dispatch(), which is not a failure. */
    int handle(std::uint32_t value) { return ls_hsm_dispatch(this->native(), value); }
    /** Handles all but user events, for an owner without such a function. */
    int in_master(const ls_hsm_event_t& event) { return event.type == LS_HSM_EVENT_USER ? 1 : 0; }
    /** Stands for no hook. */
    int on_trouble(std::uint32_t, ls_hsm_state_t*, const ls_hsm_event_t&) { return 0; }

protected:
    /** @param name not copied. @param depth as for ls_hsm_init(). */
    explicit ls_machine(const char* name, std::int32_t depth = INT32_MAX) noexcept
    {
        constexpr bool hooked =
            !std::is_same_v<decltype(&Owner::on_trouble), decltype(&ls_machine::on_trouble)>;
        ls_hsm_init(this->native(), name, nullptr, ls_machine::template call<&Owner::in_master>,
                    hooked ? call_hook : nullptr, depth);
    }

    /** Takes a transition when the handler has returned. @return 0: handled. */
    int go(typename ls_machine::any_state& target)
    {
        ls_hsm_transition(this->native(), target.native());
        return 0;
    }
    /** Takes a transition and offers the event again there. @return 1, for the handler, too. */
    int go_and_repeat(typename ls_machine::any_state& target)
    {
        ls_hsm_immediate_transition(this->native(), target.native());
        return 1;
    }

private:
    static int call_hook(ls_hsm_t* record, std::uint32_t code, ls_hsm_state_t* place,
                         const ls_hsm_event_t* event, void*)
    {
        return ls_machine::owner(record).on_trouble(code, place, *event);
    }
};

}  // namespace commonpp
