/* A piece of the program that knows nothing of the library and happens to use names of it. */
typedef char STATUS;
struct State {
    int number;
};

extern STATUS foreign_status;
extern struct State foreign_state;

STATUS foreign_status = 'x';
struct State foreign_state = {5};
