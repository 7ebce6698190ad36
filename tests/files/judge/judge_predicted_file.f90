! Judges numbered files of predicted data: writes one with the fields of the format, from the survey on standard input.
!
! Input: base name, extension, iteration, idir, ndata, each on a line; then the bits of reals, one to a line: incl, decl,
! geomag, aincl, adecl, and for each datum x, y, z, its direction pair, d, derr.
! Standard output: the name of the file, or nothing where the name does not fit and no file is written.
program judge_predicted_file
  use, intrinsic :: iso_fortran_env, only: int32, int64, real64
  implicit none
  character(len=30) :: name
  character(len=100) :: base, extension
  integer(int32) :: iteration, idir, ndata, i
  integer :: status
  real(real64) :: field(5), datum(7)

  read(*, '(a)') base
  read(*, '(a)') extension
  read(*, *) iteration
  read(*, *) idir
  read(*, *) ndata
  write(name, '(a, "_", i3.3, ".", a)', iostat=status) trim(base), iteration, trim(extension)
  if (status /= 0) stop
  write(*, '(a)') trim(name)
  call read_bits(field)
  open(22, file=name, status='unknown', action='write')
  write(22, '(3f10.2, "  !! incl, decl, geomag")') field(1:3)
  write(22, '(2f10.2, 5x, i2, 3x, "  !! aincl, adecl, idir")') field(4:5), idir
  write(22, '(i7, 23x, "  !! # of data")') ndata
  do i = 1, ndata
    call read_bits(datum)
    if (idir > 0) then
      write(22, '(1p, 3e17.9, 2x, e14.6)') datum(1:3), datum(6) * datum(7)
    else
      write(22, '(1p, 3e17.9, 2x, 2e12.4, 2x, e14.6)') datum(1:5), datum(6) * datum(7)
    end if
  end do

contains

  subroutine read_bits(x)
    real(real64), intent(out) :: x(:)
    integer(int64) :: bits
    integer :: k
    do k = 1, size(x)
      read(*, '(z16)') bits
      x(k) = transfer(bits, x(k))
    end do
  end subroutine
end program
