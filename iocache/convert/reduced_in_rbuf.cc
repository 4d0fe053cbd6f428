#include "iocache/convert/reduced_in_rbuf.h"

#include "iocache/canvas/canvas.h"

void iocache::convert::update_reduced_image(const cv_canvas& record, int32_t tile)
{
    if (record.kind == canvas::mask_kind) {
        cv_update_virt_subsampled_mtile_Rbuf(record.index, tile);
    } else {
        cv_update_virt_subsampled_ptile_Rbuf(record.index, tile);
    }
}

bool iocache::convert::store_reduced_image_and_icon(cv_canvas& record)
{
    const bool has_image = record.geom_orig.subsampled != 1 || cv_write_subsampled_Rbuf(record.index) == 0;
    if (record.kind == canvas::mask_kind) {
        cv_make_mask_icon_Rbuf(&record);
    } else {
        cv_make_pic_icon_Rbuf(&record);
    }
    return cv_write_icon(record.index) == 0 && has_image;
}
