#include "jpeg.h"

#include <csetjmp>
#include <cstdio>
#include <cstdlib>

#include <jpeglib.h>

namespace tool {
namespace {

struct Errors {
  jpeg_error_mgr manager;
  std::jmp_buf jump;
};

// The quality whose luminance table is nearest to this one.
int NearestQuality(const JQUANT_TBL& table) {
  jpeg_compress_struct model;
  jpeg_error_mgr errors;
  model.err = jpeg_std_error(&errors);
  jpeg_create_compress(&model);
  int best = 0;
  long least = -1;
  for (int quality = 1; quality <= 100; ++quality) {
    jpeg_set_quality(&model, quality, TRUE);
    long distance = 0;
    for (int i = 0; i < DCTSIZE2; ++i) {
      distance += std::labs(long{table.quantval[i]} - long{model.quant_tbl_ptrs[0]->quantval[i]});
    }
    if (least < 0 || distance <= least) {
      least = distance;
      best = quality;
    }
  }
  jpeg_destroy_compress(&model);
  return best;
}

void Keep(const jpeg_decompress_struct& file, JpegHeader* header) {
  for (jpeg_saved_marker_ptr marker = file.marker_list; marker; marker = marker->next) {
    const unsigned size = marker->data_length + 2;
    header->comments += {'\xff', '\xfe', static_cast<char>(size >> 8), static_cast<char>(size & 255)};
    header->comments.append(reinterpret_cast<const char*>(marker->data), marker->data_length);
  }
  if (file.quant_tbl_ptrs[0]) header->quality = NearestQuality(*file.quant_tbl_ptrs[0]);
  const jpeg_component_info* const parts = file.comp_info;
  header->halved = file.num_components == 3 && parts[0].h_samp_factor == 2 * parts[1].h_samp_factor &&
                   parts[0].v_samp_factor == 2 * parts[1].v_samp_factor;
}

}  // namespace

JpegHeader ReadJpegHeader(const void* bytes, size_t count) {
  JpegHeader header;
  jpeg_decompress_struct file;
  Errors errors;
  file.err = jpeg_std_error(&errors.manager);
  errors.manager.output_message = [](j_common_ptr) {};
  errors.manager.error_exit = [](j_common_ptr info) { std::longjmp(reinterpret_cast<Errors*>(info->err)->jump, 1); };
  jpeg_create_decompress(&file);
  // Nothing with a destructor may be made between this line and the last call that can fail.
  if (setjmp(errors.jump) == 0) {
    jpeg_save_markers(&file, JPEG_COM, 0xFFFF);
    jpeg_mem_src(&file, static_cast<const unsigned char*>(bytes), count);
    jpeg_read_header(&file, TRUE);
    Keep(file, &header);
  }
  jpeg_destroy_decompress(&file);
  return header;
}

}  // namespace tool
