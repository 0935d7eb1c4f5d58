/* Shows how far a job is: on a terminal one line that is updated, otherwise a line for
 * each of so many parts. */
#ifndef QZ_HOST_PROGRESS_H
#define QZ_HOST_PROGRESS_H

class Progress {
public:
    /* lines: how many lines to print for the whole job if no line can be updated. */
    explicit Progress(int lines);

    /* fraction: 0 to 1; values outside are clamped, NaN counts as 0. */
    void report(double fraction, const char* text) noexcept;

    /* Takes the line off the terminal, so that other text can be printed. */
    void clear() noexcept;

private:
    void update(int percent, const char* text) noexcept;
    void append(int percent, const char* text) noexcept;

    bool terminal_;
    bool lineShown_ = false;
    int lines_;
    int lastLine_ = -1;
};

#endif
