// What a plot of a signal needs to know, and the metadata kept for its caller.
#include <utility>

#include "kvrntob/store/signal_repository.h"

namespace kvr {

bool SignalRepository::isVisible(int32 id) const { return recordPointerByID(id)->isVisible(); }

void SignalRepository::setVisible(int32 id, bool visible) {
  recordPointerByID(id)->setVisible(visible);
}

void SignalRepository::setLineColor(int32 id, double red, double green, double blue) {
  recordPointerByID(id)->setLineColor(red, green, blue);
}

void SignalRepository::setLineStyle(int32 id, const std::string& style) {
  recordPointerByID(id)->setLineDashed(style);
}

void SignalRepository::setMetaData(int32 id, SharedArray metaData) {
  recordPointerByID(id)->MetaData = std::move(metaData);
}

}  // namespace kvr
