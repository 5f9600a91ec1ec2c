// What is being recorded, printed as it comes.
#pragma once

#include <string>

#include "trace/capture/reader.hpp"
#include "trace/command/presenter.hpp"

namespace trace {

class Live {
public:
    // `presenter` lives as long as this. Throws CaptureError.
    Live(Presenter& presenter, const std::string& file);
    ~Live();
    Live(const Live&) = delete;
    Live& operator=(const Live&) = delete;

    // Readable when there is more to print.
    int news() const { return news_; }

    void print();

    // When the last record is written.
    void end();

private:
    template <typename Work>
    void unlessEnded(Work work);

    CaptureReader reader_;
    Presenter& presenter_;
    const int news_;
    bool ended_ = false;
};

} // namespace trace
