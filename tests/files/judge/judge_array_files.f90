! Judges files that hold one array: the outcome and the values that the Fortran run-time makes of each case.
!
! Argument: a folder. Its file "cases" holds lines "KIND NAME": 1 a cube of reals, 2 a list of active cells, and the file.
! Standard output: for each case one line: "end", "bad", "many" (one more value can be read behind the array) or "ok", then
! for all but the first two the elements: the bits of a real, or an integer.
program judge_array_files
  use, intrinsic :: iso_fortran_env, only: int32, int64, real64, iostat_end
  implicit none
  character(len=400) :: folder, name
  real(real64) :: cube(2, 3, 2), one_more_real
  integer(int32) :: act(2, 3, 2), one_more_integer
  integer :: kind, status, more

  call get_command_argument(1, folder)
  open(10, file=trim(folder)//'/cases', status='old', action='read')
  do
    read(10, *, iostat=status) kind, name
    if (status /= 0) exit
    open(1, file=trim(folder)//'/'//trim(name), status='old', action='read')
    cube = -77
    act = -77
    more = 1
    if (kind == 1) then
      read(1, *, iostat=status) cube
      if (status == 0) read(1, *, iostat=more) one_more_real
    else
      read(1, *, iostat=status) act
      if (status == 0) read(1, *, iostat=more) one_more_integer
    end if
    close(1)
    if (status == iostat_end) then
      write(*, '(a)') 'end'
    else if (status /= 0) then
      write(*, '(a)') 'bad'
    else if (kind == 1) then
      write(*, '(a, 12(1x, z16.16))') trim(merge('many', 'ok  ', more == 0)), transfer(cube, 0_int64, size(cube))
    else
      write(*, '(a, 12(1x, i0))') trim(merge('many', 'ok  ', more == 0)), act
    end if
  end do
end program
