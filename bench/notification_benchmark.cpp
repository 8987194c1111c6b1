// Cost of delivering a change to image-bound listeners, of looking items up in an
// image-indexed sequence, and of making the handlers that every container is.
#include <benchmark/benchmark.h>

#include <string>
#include <vector>

#include "refcntr/core/PSChangeHandler.h"
#include "refcntr/notify/ImageIndexedSequence.h"
#include "refcntr/notify/ReferencedImageSequence.h"

namespace refcntr {
namespace {

class CountingListener : public PSChangeListener {
public:
    void elementUpdated(const RWCString&, const ReferencedImageSequence*) override { ++heard; }
    long heard = 0;
};

ReferencedImageSequenceItem* imageReference(const RWCString& uid, int frame) {
    auto* item = new ReferencedImageSequenceItem;
    item->setReferencedSOPInstanceUIDElement(uid);
    item->setReferencedFrameNumberElement(new int[1]{frame}, 1);
    return item;
}

RWCString imageUid(long image) { return "1.2.826.0.1.3680043.2.1125." + std::to_string(image); }

// A change to one frame, with one listener registered per image on the handler.
void deliverToImageListeners(benchmark::State& state) {
    const long listenerCount = state.range(0);
    std::vector<CountingListener> listeners(listenerCount);
    PSChangeHandler handler;
    for (long i = 0; i < listenerCount; ++i) handler.addListener(listeners[i], imageUid(i), 1);
    ReferencedImageSequence images;
    images.addItem(imageReference(imageUid(listenerCount / 2), 1));
    for (auto _ : state) handler.elementUpdated("Module.Element", &images);
    state.SetItemsProcessed(state.iterations());
}
BENCHMARK(deliverToImageListeners)->Range(8, 4096);

class ImageBoundItem : public SequenceItem {
public:
    ImageBoundItem() = default;
    ImageBoundItem(const ImageBoundItem& other) : SequenceItem(), itsImages(other.itsImages) {}
    ReferencedImageSequence& getReferencedImageSequenceElement() { return itsImages; }
    const ReferencedImageSequence& getReferencedImageSequenceElement() const { return itsImages; }

private:
    ReferencedImageSequence itsImages;
};

// One item per image frame; the keys share a bucket, so a lookup walks every entry.
void lookUpItemsByImageFrame(benchmark::State& state) {
    const long itemCount = state.range(0);
    ImageIndexedSequence<ImageBoundItem> sequence;
    for (long i = 0; i < itemCount; ++i) {
        auto* item = new ImageBoundItem;
        item->getReferencedImageSequenceElement().addItem(imageReference(imageUid(i), 1));
        sequence.addItem(item);
    }
    RWTPtrOrderedVector<ImageBoundItem> result;
    const RWCString wanted = imageUid(itemCount / 2);
    for (auto _ : state) {
        sequence.getItems(result, wanted, 1);
        benchmark::DoNotOptimize(result.data());
    }
    state.SetComplexityN(itemCount);
}
BENCHMARK(lookUpItemsByImageFrame)->Range(8, 4096)->Complexity();

void makeHandlerWithoutListeners(benchmark::State& state) {
    for (auto _ : state) {
        PSChangeHandler handler;
        benchmark::DoNotOptimize(&handler);
    }
}
BENCHMARK(makeHandlerWithoutListeners);

}  // namespace
}  // namespace refcntr
