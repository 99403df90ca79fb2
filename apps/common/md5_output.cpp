#include "common/md5_output.h"

#include "common/picture_rows.h"

extern "C" {
#include <libavutil/md5.h>
#include <libavutil/mem.h>
}

#include <fmt/format.h>

#include <array>
#include <memory>
#include <new>

namespace kelvcpx::app {

std::string pictureMd5(const PictureView& picture)
{
    const std::unique_ptr<AVMD5, decltype(&av_free)> state(av_md5_alloc(), av_free);
    if (!state)
        throw std::bad_alloc();
    av_md5_init(state.get());
    forEachRow(picture, [&](auto row) { av_md5_update(state.get(), row.data(), row.size()); });
    std::array<uint8_t, 16> digest{};
    av_md5_final(state.get(), digest.data());
    return fmt::format("{:02x}", fmt::join(digest, ""));
}

void Md5Output::write(const PictureView& picture)
{
    file_.write(fmt::format("{} {}\n", number_++, pictureMd5(picture)));
}

} // namespace kelvcpx::app
