// Compiled as C++17: these libraries do not take C++20.
#include "hsm_peers.h"

#include <boost/mpl/list.hpp>
#include <boost/mpl/vector.hpp>
#include <boost/msm/back/state_machine.hpp>
#include <boost/msm/front/functor_row.hpp>
#include <boost/msm/front/state_machine_def.hpp>
#include <boost/statechart/custom_reaction.hpp>
#include <boost/statechart/in_state_reaction.hpp>
#include <boost/statechart/simple_state.hpp>
#include <boost/statechart/state_machine.hpp>
#include <boost/statechart/transition.hpp>

namespace bench {
namespace msm_chart {

namespace front = boost::msm::front;
namespace back = boost::msm::back;
namespace mpl = boost::mpl;

struct Internal {};
struct Bubble {};
struct Sibling {};
struct Deep {};

struct Count {
    template <typename Event, typename Machine, typename Source, typename Target>
    void operator()(const Event&, Machine&, Source&, Target&)
    {
        called();
    }
};

/// A guard that lets the event go on to the next level.
struct Decline {
    template <typename Event, typename Machine, typename Source, typename Target>
    bool operator()(const Event&, Machine&, Source&, Target&)
    {
        return called_in_vain();
    }
};

/// What leaving and entering a state calls.
template <typename Base>
struct Counted : Base {
    template <typename Event, typename Machine>
    void on_entry(const Event&, Machine&)
    {
        called();
    }
    template <typename Event, typename Machine>
    void on_exit(const Event&, Machine&)
    {
        called();
    }
};

struct Settings {
    using no_message_queue = int;
    using no_exception_thrown = int;
};

struct X5 : Counted<front::state<>> {};
struct Y5 : Counted<front::state<>> {};
struct Z5 : Counted<front::state<>> {};

struct X4Front : Counted<front::state_machine_def<X4Front>>, Settings {
    using initial_state = X5;
    struct transition_table
        : mpl::vector<front::Row<X5, Internal, front::none, Count>,
                      front::Row<X5, Bubble, front::none, front::none, Decline>,
                      front::Row<X5, Sibling, Y5, Count>, front::Row<Y5, Sibling, X5, Count>> {};
    struct internal_transition_table : mpl::vector<front::Internal<Bubble, front::none, Decline>> {
    };
};
struct Z4Front : Counted<front::state_machine_def<Z4Front>>, Settings {
    using initial_state = Z5;
    struct transition_table : mpl::vector<> {};
};
/// A level with one submachine in it.
template <typename Inner>
struct Level : Counted<front::state_machine_def<Level<Inner>>>, Settings {
    using initial_state = back::state_machine<Inner>;
    struct transition_table : mpl::vector<> {};
    struct internal_transition_table : mpl::vector<front::Internal<Bubble, front::none, Decline>> {
    };
};
using X1 = back::state_machine<Level<Level<Level<X4Front>>>>;
using Z1 = back::state_machine<Level<Level<Level<Z4Front>>>>;

struct TopFront : front::state_machine_def<TopFront>, Settings {
    using initial_state = X1;
    struct transition_table
        : mpl::vector<front::Row<X1, Deep, Z1, Count>, front::Row<Z1, Deep, X1, Count>> {};
    struct internal_transition_table : mpl::vector<front::Internal<Bubble, Count>> {};
    template <typename Event, typename Machine>
    void no_transition(const Event&, Machine&, int)
    {
    }
};
using Top = back::state_machine<TopFront>;

}  // namespace msm_chart

struct MsmMachine::Implementation {
    msm_chart::Top machine;
};
MsmMachine::MsmMachine() : implementation(new Implementation)
{
    implementation->machine.start();
}
MsmMachine::~MsmMachine()
{
    delete implementation;
}
void MsmMachine::internal()
{
    implementation->machine.process_event(msm_chart::Internal());
}
void MsmMachine::bubble()
{
    implementation->machine.process_event(msm_chart::Bubble());
}
void MsmMachine::sibling()
{
    implementation->machine.process_event(msm_chart::Sibling());
}
void MsmMachine::deep()
{
    implementation->machine.process_event(msm_chart::Deep());
}

namespace statechart {

namespace sc = boost::statechart;
namespace mpl = boost::mpl;

struct Internal : sc::event<Internal> {};
struct Bubble : sc::event<Bubble> {};
struct Sibling : sc::event<Sibling> {};
struct Deep : sc::event<Deep> {};

struct Top;
struct Machine : sc::state_machine<Machine, Top> {};

/// Counts entries and exits.
struct Counted {
    Counted() { called(); }
    Counted(const Counted&) = delete;
    Counted& operator=(const Counted&) = delete;
    ~Counted() { called(); }
};

template <typename Event>
struct Count {
    template <typename State>
    static void act(State&, const Event&)
    {
        called();
    }
};

struct X1;
struct X2;
struct X3;
struct X4;
struct X5;
struct Z2;
struct Z3;
struct Z4;
struct Z5;

struct Top : sc::simple_state<Top, Machine, X1> {
    void count_bubble(const Bubble&) { called(); }
    using reactions = mpl::list<sc::in_state_reaction<Bubble, Top, &Top::count_bubble>>;
    void count_deep(const Deep&) { called(); }
};
/// Lets an event go on to the next level.
template <typename State>
struct Declining {
    using reactions = mpl::list<sc::custom_reaction<Bubble>>;
    sc::result react(const Bubble&)
    {
        called();
        return static_cast<State*>(this)->forward_event();
    }
};
struct X1 : sc::simple_state<X1, Top, X2>, Counted, Declining<X1> {
    using reactions = Declining<X1>::reactions;
};
struct X2 : sc::simple_state<X2, X1, X3>, Counted, Declining<X2> {
    using reactions = Declining<X2>::reactions;
};
struct X3 : sc::simple_state<X3, X2, X4>, Counted, Declining<X3> {
    using reactions = Declining<X3>::reactions;
};
struct X4 : sc::simple_state<X4, X3, X5>, Counted, Declining<X4> {
    using reactions = Declining<X4>::reactions;
    void count_sibling(const Sibling&) { called(); }
};
struct Y5;
struct X5 : sc::simple_state<X5, X4>, Counted, Declining<X5> {
    void count_internal(const Internal&) { called(); }
    using reactions = mpl::list<sc::custom_reaction<Bubble>,
                                sc::in_state_reaction<Internal, X5, &X5::count_internal>,
                                sc::transition<Sibling, Y5, X4, &X4::count_sibling>,
                                sc::transition<Deep, Z5, Top, &Top::count_deep>>;
};
struct Y5 : sc::simple_state<Y5, X4>, Counted {
    using reactions = mpl::list<sc::transition<Sibling, X5, X4, &X4::count_sibling>>;
};
struct Z1 : sc::simple_state<Z1, Top, Z2>, Counted {};
struct Z2 : sc::simple_state<Z2, Z1, Z3>, Counted {};
struct Z3 : sc::simple_state<Z3, Z2, Z4>, Counted {};
struct Z4 : sc::simple_state<Z4, Z3, Z5>, Counted {};
struct Z5 : sc::simple_state<Z5, Z4>, Counted {
    using reactions = mpl::list<sc::transition<Deep, X5, Top, &Top::count_deep>>;
};

}  // namespace statechart

struct StatechartMachine::Implementation {
    statechart::Machine machine;
};
StatechartMachine::StatechartMachine() : implementation(new Implementation)
{
    implementation->machine.initiate();
}
StatechartMachine::~StatechartMachine()
{
    delete implementation;
}
void StatechartMachine::internal()
{
    implementation->machine.process_event(statechart::Internal());
}
void StatechartMachine::bubble()
{
    implementation->machine.process_event(statechart::Bubble());
}
void StatechartMachine::sibling()
{
    implementation->machine.process_event(statechart::Sibling());
}
void StatechartMachine::deep()
{
    implementation->machine.process_event(statechart::Deep());
}

}  // namespace bench
