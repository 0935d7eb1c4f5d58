/* A harbour lends berths to ferries. */
#ifndef QZ_HOST_HARBOUR_H
#define QZ_HOST_HARBOUR_H

#include "fleet_state.h"
#include "geometry.h"
#include "letters.h"

#include "Common/FSM.h"
#include "Mail/Server.h"

#include <memory>
#include <string>

/* Its state is the number of taken berths. It answers at once, within the ferry's call. */
class Harbour : public Mail::Mailbox, private Common::FSM, private Common::FSM::SymbolRecepient {
public:
    class Tables : public Common::FSM::Descriptor {
    public:
        explicit Tables(int berths);
        void load() override;

        std::uint32_t berths() const { return berths_; }

    private:
        std::uint32_t berths_;
    };

    Harbour(std::uint32_t ownAddress, std::string name, Point place, int berths);

    const std::string& name() const { return name_; }
    Point place() const { return place_; }

    HarbourState state() const { return {getSnapshot(), asking_}; }

    /* Continues from a state. fits: whether the state may be this harbour's. */
    bool fits(const HarbourState& state) const;
    void resume(const HarbourState& state);

    bool receive(const Mail::Message& message) override;

private:
    void onOutputSymbol(std::uint32_t symbol) override;

    std::string name_;
    Point place_;
    Tables tables_;
    std::uint32_t asking_ = 0; // address of the ferry that waits for an answer
};

#endif
