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
 * A machine over hsm.h. It cannot be copied or moved, as its states know it.
 * @tparam Owner the class that derives from this. It may have a public member function
 *         HsmEvent in_top(HsmEvent), the handler of the top state, whose start event leads to the
 *         first state; without one the top state handles nothing.
 */
template <class Owner>
class machine {
public:
    /** The events that the engine makes; no address and no event of an application's is one. */
    static constexpr HsmEvent start_event = ~HsmEvent{0};
    /** A state is entered. */
    static constexpr HsmEvent entry_event = ~HsmEvent{1};
    /** A state is left. */
    static constexpr HsmEvent exit_event = ~HsmEvent{2};

    /** A state of any handler: what transitions lead to. */
    class any_state {
    public:
        any_state(const any_state&) = delete;
        any_state& operator=(const any_state&) = delete;
        /** The C record, still this object's. */
        State* native() noexcept { return &record_; }

    protected:
        any_state(const char* name, State* super, HsmHandler handler) noexcept
        {
            StateCtor(&record_, name, super, handler);
        }

    private:
        State record_;
    };

    /**
     * A state, as a member of the owner.
     * @tparam handler HsmEvent (Owner::*)(HsmEvent), or a function HsmEvent(Owner&, HsmEvent), a
     *         lambda without captures say. It returns 0 when it has handled the event, go() when it
     *         takes a transition, else the event for its superstate.
     */
    template <auto handler>
    class state : public any_state {
    public:
        /** An outermost state. @param name not copied. @param in the machine. */
        state(const char* name, machine& in) noexcept
            : any_state(name, &in.record_.top, call<handler>)
        {
        }
        /** A state within another one. @param name not copied. @param super that one. */
        state(const char* name, any_state& super) noexcept
            : any_state(name, super.native(), call<handler>)
        {
        }
    };

    machine(const machine&) = delete;
    machine& operator=(const machine&) = delete;

    /** Enters the top state and follows initial transitions (HsmOnStart()). */
    void start() { HsmOnStart(&record_); }
    /** Dispatches an event (HsmOnEvent()). @param event not 0; an enumerator, number or address. */
    void handle(HsmEvent event) { HsmOnEvent(&record_, event); }
    /** Tells whether a state is the current one. */
    [[nodiscard]] bool is_in(any_state& place) const noexcept
    {
        return record_.current == place.native();
    }
    /** The name of the current state. The machine must have been started. */
    [[nodiscard]] const char* state_name() const noexcept { return record_.current->name; }
    /** The C record, still this object's. */
    Hsm* native() noexcept { return &record_; }
    /** Handles nothing, for an owner without such a function. */
    HsmEvent in_top(HsmEvent event) { return event; }

protected:
    /** @param name not copied. */
    explicit machine(const char* name) noexcept : record_{}
    {
        HsmCtor(&record_, name, call_top, start_event, entry_event, exit_event);
    }
    ~machine() = default;

    /** Takes a transition, for handlers (HsmStateTran_()). @return 0: handled. */
    HsmEvent go(any_state& target)
    {
        HsmStateTran_(&record_, target.native());
        return 0;
    }

private:
    /** The record is the first and only member, so that its address is the machine's. */
    static Owner& owner(Hsm* record) noexcept
    {
        return static_cast<Owner&>(*reinterpret_cast<machine*>(record));
    }
    template <auto handler>
    static HsmEvent call(Hsm* record, HsmEvent event)
    {
        return std::invoke(handler, owner(record), event);
    }
    static HsmEvent call_top(Hsm* record, HsmEvent event) { return owner(record).in_top(event); }

    Hsm record_;
};

/**
 * A machine over ls_hsm.h. It cannot be copied or moved.
 * @tparam Owner the class that derives from this. It may have the public member functions
 *         int in_master(const ls_hsm_event_t&), the callback of the master state, without which
 * that handles all but user events; and int on_trouble(uint32_t code, ls_hsm_state_t*, const
 * ls_hsm_event_t&), the hook.
 */
template <class Owner>
class ls_machine {
public:
    /** A state of any handler: what transitions lead to. */
    class any_state {
    public:
        any_state(const any_state&) = delete;
        any_state& operator=(const any_state&) = delete;
        /** The C record, still this object's. */
        ls_hsm_state_t* native() noexcept { return &record_; }

    protected:
        any_state(const char* name, ls_hsm_state_t* parent, ls_hsm_callback_t callback) noexcept
        {
            ls_hsm_state_init(&record_, name, parent, callback);
        }

    private:
        ls_hsm_state_t record_;
    };

    /**
     * A state, as a member of the owner, behind its parent.
     * @tparam handler int (Owner::*)(const ls_hsm_event_t&), or a function
     *         int(Owner&, const ls_hsm_event_t&). It returns 0 when it has handled the event.
     */
    template <auto handler>
    class state : public any_state {
    public:
        /** An outermost state. @param name not copied. @param in the machine. */
        state(const char* name, ls_machine& in) noexcept
            : any_state(name, &in.record_.master, call<handler>)
        {
        }
        /** A state within another one. @param name not copied. @param parent that one. */
        state(const char* name, any_state& parent) noexcept
            : any_state(name, parent.native(), call<handler>)
        {
        }
    };

    ls_machine(const ls_machine&) = delete;
    ls_machine& operator=(const ls_machine&) = delete;

    /** Starts the machine. @return as ls_hsm_run(). */
    int start() { return ls_hsm_run(&record_); }
    /** Dispatches a user event. @return as ls_hsm_dispatch(), which is not a failure. */
    int handle(std::uint32_t value) { return ls_hsm_dispatch(&record_, value); }
    /** Tells whether a state is the current one. */
    [[nodiscard]] bool is_in(any_state& place) const noexcept
    {
        return record_.current == place.native();
    }
    /** The name of the current state. The machine must have been started. */
    [[nodiscard]] const char* state_name() const noexcept { return record_.current->name; }
    /** The C record, still this object's. */
    ls_hsm_t* native() noexcept { return &record_; }
    /** Handles all but user events, for an owner without such a function. */
    int in_master(const ls_hsm_event_t& event) { return event.type == LS_HSM_EVENT_USER ? 1 : 0; }
    /** Stands for no hook. */
    int on_trouble(std::uint32_t, ls_hsm_state_t*, const ls_hsm_event_t&) { return 0; }

protected:
    /** @param name not copied. @param depth as for ls_hsm_init(). */
    explicit ls_machine(const char* name, std::int32_t depth = INT32_MAX) noexcept
    {
        ls_hsm_init(&record_, name, this, call_master,
                    std::is_same_v<decltype(&Owner::on_trouble), decltype(&ls_machine::on_trouble)>
                        ? nullptr
                        : call_hook,
                    depth);
    }
    ~ls_machine() = default;

    /** Takes a transition when the handler has returned. @return 0: handled. */
    int go(any_state& target)
    {
        ls_hsm_transition(&record_, target.native());
        return 0;
    }
    /** Takes a transition and offers the event again there. @return 1, for the handler, too. */
    int go_and_repeat(any_state& target)
    {
        ls_hsm_immediate_transition(&record_, target.native());
        return 1;
    }

private:
    /** The user data is this class's: while it is made, there is no owner yet. */
    static Owner& owner(void* machine) noexcept
    {
        return static_cast<Owner&>(*static_cast<ls_machine*>(machine));
    }
    template <auto handler>
    static int call(ls_hsm_t*, const ls_hsm_event_t* event, void* machine, ls_hsm_state_t*)
    {
        return std::invoke(handler, owner(machine), *event);
    }
    static int call_master(ls_hsm_t*, const ls_hsm_event_t* event, void* machine, ls_hsm_state_t*)
    {
        return owner(machine).in_master(*event);
    }
    static int call_hook(ls_hsm_t*, std::uint32_t code, ls_hsm_state_t* place,
                         const ls_hsm_event_t* event, void* machine)
    {
        return owner(machine).on_trouble(code, place, *event);
    }

    ls_hsm_t record_;
};

}  // namespace commonpp
