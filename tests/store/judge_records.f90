! Writes a sensitivity file with this run-time's own framing: records in segments of at most 16 bytes (a compile
! option), so that most records have several. Usage: judge_records FILE
program judge_records
  implicit none
  integer, parameter :: i4 = selected_int_kind(9), r4 = kind(1.0), r8 = kind(1.0d0)
  character(len=500) :: name
  integer(i4) :: k
  call get_command_argument(1, name)
  open (unit=22, file=trim(name), form='unformatted', access='sequential', status='replace')
  write (22) 2_i4, 24_i4, 2_i4, 3_i4, 4_i4                      ! ndata_mtx, ncol, ny, nx, nz
  write (22) (10.0_r8*k, k=0, 2), (20.0_r8*k, k=0, 3), (5.0_r8*k, k=0, 4), 123.5_r8
  write (22) (0_i4, k=1, 6)
  write (22) 2_i4, sqrt(0.5_r8), sqrt(0.5_r8)
  write (22) 2_i4, 4_i4, 4_i4                                   ! ncube_y, ncube_x, ncube_z
  write (22) 1_i4, (0.5_r8*k, k=1, 24)
  write (22) 5_i4, 1_i4, 8_i4, 9_i4, 31_i4, 32_i4, (0.25_r4*k, k=1, 5)
  write (22) 0_i4
  write (22) (-1.0_r8*k, k=1, 24)
  close (22)
end program judge_records
