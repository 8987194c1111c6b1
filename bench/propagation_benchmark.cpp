// A setter on an item that references five images, in a presentation state whose IOD has
// 1, 10, 100 or 1000 listeners registered for different images and frames: the cost of the
// whole climb (item, sequence, module, entity, IOD) and of the delivery to the listeners.
#include <benchmark/benchmark.h>

#include <memory>
#include <string>
#include <vector>

#include "refcntr/platform/DICOMDataObject.h"
#include "refcntr/presentation/IdentificationModules.h"
#include "refcntr/presentation/PresentationEntities.h"
#include "refcntr/presentation/PresentationStateIODs.h"

namespace refcntr {
namespace {

class CountingListener : public PSChangeListener {
public:
    void elementUpdated(const RWCString&, const ReferencedImageSequence*) override { ++heard; }
    long heard = 0;
};

RWCString imageUid(long image) { return "1.2.826.0.1.3680043.2.1125.7." + std::to_string(image); }

struct Scene {
    std::unique_ptr<GrayscaleSoftcopyPresentationStateCompositeIOD> iod;
    ReferencedSeriesSequenceItem* series = nullptr;
    std::vector<CountingListener> listeners;
};

// Five referenced images (frames 1 and 2 of each); listener i listens for image i % 50, on
// frame 1 for even i and on every frame for odd i, so some hear the change and most do not.
void build(Scene& scene, long listenerCount) {
    scene.iod.reset(GrayscaleSoftcopyPresentationStateCompositeIOD::create(DICOMDataObject()));
    auto* item = new ReferencedSeriesSequenceItem;
    for (long image = 0; image < 5; ++image) {
        auto* reference = new ReferencedImageSequenceItem;
        reference->setReferencedSOPInstanceUIDElement(imageUid(image));
        reference->setReferencedFrameNumberElement(new int[2]{1, 2}, 2);
        item->getReferencedImageSequenceElement().addItem(reference);
    }
    scene.iod->getPresentationInformationEntity()
        ->getPresentationStateRelationshipModule()
        ->getReferencedSeriesSequenceElement()
        .addItem(item);
    scene.series = item;
    scene.listeners.resize(listenerCount);
    for (long i = 0; i < listenerCount; ++i) {
        if (i % 2)
            scene.iod->addListener(scene.listeners[i], imageUid(i % 50));
        else
            scene.iod->addListener(scene.listeners[i], imageUid(i % 50), 1);
    }
}

void setterOnItemReferencingFiveImages(benchmark::State& state) {
    Scene scene;
    build(scene, state.range(0));
    const RWCString uid = "1.2.3.4.5";
    for (auto _ : state) scene.series->setSeriesInstanceUIDElement(uid);
    long delivered = 0;
    for (const CountingListener& listener : scene.listeners) delivered += listener.heard;
    state.SetItemsProcessed(state.iterations());
    state.counters["listeners"] = double(state.range(0));
    state.counters["deliveries_per_change"] = double(delivered) / double(state.iterations());
}
BENCHMARK(setterOnItemReferencingFiveImages)->Arg(1)->Arg(10)->Arg(100)->Arg(1000);

}  // namespace
}  // namespace refcntr
